#include "answer.h"

#include <gtest/gtest.h>

#include "textwidth.h"

namespace quern::cli {
namespace {

TEST(TextWidth, WideCharactersTakeTwoColumns) {
  EXPECT_EQ(displayWidth("mail"), 4u);
  EXPECT_EQ(displayWidth("邮件收发"), 8u);
  EXPECT_EQ(displayWidth("a\xE9z"), 3u) << "a byte that is no UTF-8 takes one column";
  EXPECT_EQ(displayWidth("e\xCC\x81"), 1u) << "a combining mark takes none";
  EXPECT_EQ(cutToWidth("contract", 8), "contract");
  EXPECT_EQ(cutToWidth("contract", 5), "cont…");
  EXPECT_EQ(cutToWidth("邮件收发", 6), "邮件…") << "a wide character is not split";
  EXPECT_EQ(cutToWidth("邮件收发", 5), "邮件…");
  EXPECT_EQ(cutToWidth("abc", 0), "");
  EXPECT_EQ(fitToWidth("邮件", 6), "邮件  ");
}

Answer sample() {
  Answer answer;
  answer.count = 1234;
  ShownRow row;
  row.locator = "0:28:1";
  row.logFile = "sample.qvlog";
  row.columns = {"2026/11/22 10:00:01", "0000002A", "11", "0", "10.0.0.1", "2400:da00::1", "22", "33", "title",
                 "0", "", "", "url=http://x\"y\"; title=会议"};
  row.user = "zhang.wei";
  row.group = "-";
  row.service = "HTTP应用";
  row.app = "网页浏览";
  answer.rows = {row, row};
  answer.rows[1].columns = std::vector<std::string>(kRowColumnCount);
  answer.rows[1].locator = "0:28:9";
  return answer;
}

std::string printed(const Answer& answer, Format format, size_t width) {
  std::FILE* file = std::tmpfile();
  printAnswer(file, answer, format, width);
  std::string text(static_cast<size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  text.resize(std::fread(text.data(), 1, text.size(), file));
  std::fclose(file);
  return text;
}

TEST(Answer, TableCutToTheWidth) {
  EXPECT_EQ(printed(sample(), Format::Table, 0),
            "1234 records match, the newest 2:\n"
            "TIME                 USER       GROUP  HOST      SERVICE   TEXT\n"
            "2026/11/22 10:00:01  zhang.wei  -      10.0.0.1  HTTP应用  url=http://x\"y\"; title=会议\n"
            "                                                           (no frame at 0:28:9)\n");
  const std::string cut = printed(sample(), Format::Table, 70);
  EXPECT_NE(cut.find("\n2026/11/22 10:00:01  zhang.wei  -      10.0.0.1  HTTP应用  url=http:/…\n"), std::string::npos)
      << cut;
  Answer partial = sample();
  partial.partial = true;
  partial.count = 1;
  EXPECT_EQ(printed(partial, Format::Table, 0).substr(0, 58), "1 record matches so far (interrupted: the count is partial");
  partial.rows.clear();
  partial.partial = false;
  EXPECT_EQ(printed(partial, Format::Table, 0), "1 record matches\n");
}

TEST(Answer, ScriptsGetEveryColumnInFull) {
  EXPECT_EQ(printed(sample(), Format::Tsv, 10),
            "count\t1234\tcomplete\n"
            "locator\tlog_file\ttime\tevent_tag\tuser_crc\tgroup_crc\thost\tpeer\tserv_crc\tapp_crc\tsnap\treserved\t"
            "attach_name\tattach_path\ttext\tuser\tgroup\tservice\tapp\n"
            "0:28:1\tsample.qvlog\t2026/11/22 10:00:01\t0000002A\t11\t0\t10.0.0.1\t2400:da00::1\t22\t33\ttitle\t0\t\t\t"
            "url=http://x\"y\"; title=会议\tzhang.wei\t-\tHTTP应用\t网页浏览\n"
            "0:28:9\tsample.qvlog\t\t\t\t\t\t\t\t\t\t\t\t\t\tzhang.wei\t-\tHTTP应用\t网页浏览\n");
  Answer one = sample();
  one.rows.resize(1);
  one.rows[0].app = "a\tb\\";
  const std::string json = printed(one, Format::Json, 10);
  EXPECT_EQ(json.rfind("{\"count\": 1234, \"partial\": false, \"rows\": [\n  {\"locator\": \"0:28:1\", ", 0), 0u) << json;
  EXPECT_NE(json.find("\"text\": \"url=http://x\\\"y\\\"; title=会议\""), std::string::npos) << json;
  EXPECT_NE(json.find("\"app\": \"a\\u0009b\\\\\"}\n]}\n"), std::string::npos) << json;
  one.rows.clear();
  EXPECT_EQ(printed(one, Format::Json, 10), "{\"count\": 1234, \"partial\": false, \"rows\": []}\n");
}

}  // namespace
}  // namespace quern::cli
