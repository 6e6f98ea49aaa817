// The quern program end to end. Its index and merge verbs, run as child
// processes on a generated log, must give the same records however the work
// is split (one run, parts merged by child processes, passes under a zero
// memory limit, run files, directories merged by hand); its query and row
// verbs must answer what the generator's sidecar says.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "index/index.h"
#include "qvloggen/truthquery.h"
#include "support/logdir.h"
#include "support/truthrow.h"

namespace quern {
namespace {

namespace fs = std::filesystem;
using test::writeFile;

// Everything a directory answers: per field every term with its records,
// and every record's locator.
struct Content {
  std::map<std::string, test::Terms> fields;
  std::vector<std::string> locators;
  bool operator==(const Content&) const = default;
};

class CliTest : public ::testing::Test {
 protected:
  // Runs the program with these environment variables set; true when it
  // exited with 0. Its output lands in m_output.
  bool quern(const std::string& args, const std::map<std::string, std::string>& environment = {}) {
    // The system's shell: cmd on Windows, sh elsewhere.
    const bool cmd = fs::path::preferred_separator == '\\';
    std::string settings;
    for (const auto& [name, value] : environment) {
      settings += cmd ? "set " + name + "=" + value + "&& " : name + "='" + value + "' ";
    }
    const int code = std::system((settings + "\"" + m_cli + "\" " + args + " > output.txt 2>&1").c_str());
    m_output = test::readFile("output.txt");
    return code == 0;
  }

  Content content(const std::string& dir) {
    IndexReader reader(dir + "/", *m_log.fields);
    reader.loadSummary();
    Content content;
    for (uint32_t id = 0; id < m_log.fields->fieldCount(); ++id) {
      const std::string name = m_log.fields->fieldName(id);
      content.fields[name] = m_log.terms(dir + "/", name);
    }
    for (uint32_t r = 1; r <= reader.recordCount(); ++r) content.locators.push_back(reader.store()->locator(r));
    return content;
  }

  // The program, found from the build directory the tests start in.
  std::string m_cli = (fs::current_path() / QUERN_CLI).make_preferred().string();
  test::LogDir m_log{3, 9, 48u << 10};
  std::string m_in = fs::path(m_log.summary.logPath).filename().string();
  std::string m_output;
};

TEST_F(CliTest, EverySplitOfTheWorkGivesTheSameIndex) {
  ASSERT_TRUE(quern("index --in " + m_in + " --out whole --memory 4G")) << m_output;
  const Content whole = content("whole");
  size_t records = 0;
  for (const auto& frame : qvloggen::readTruth(m_log.summary.truthPath).frames) {
    records += frame.ordinal >= 0 && (frame.type == 2 || (frame.type >= 7 && frame.type <= 10));
  }
  ASSERT_EQ(whole.locators.size(), records);
  EXPECT_NE(m_output.find(std::to_string(records) + " records"), std::string::npos) << m_output;

  ASSERT_TRUE(quern("index --in " + m_in + " --out jobs --parts 4 --jobs 2")) << m_output;
  EXPECT_NE(m_output.find("part 4/4"), std::string::npos) << m_output;
  EXPECT_TRUE(content("jobs") == whole) << "parts indexed by child processes, then merged";
  EXPECT_FALSE(fs::exists("jobs/.parts")) << "the parts are removed after the merge";

  ASSERT_TRUE(quern("index --in " + m_in + " --out passes --memory 0 --parts 2")) << m_output;
  EXPECT_TRUE(content("passes") == whole) << "a pass per block in each part";

  // Two halves by hand, cut at a block start and at a block's middle (a
  // block that spans the end is taken whole), then merged.
  const uint64_t cut = m_log.summary.blocks[4].offset;
  ASSERT_TRUE(quern("index --in " + m_in + " --out a --end " + std::to_string(cut - 1))) << m_output;
  ASSERT_TRUE(quern("index --in " + m_in + " --out b --begin " + std::to_string(cut))) << m_output;
  ASSERT_TRUE(quern("merge --out merged a b")) << m_output;
  EXPECT_TRUE(content("merged") == whole) << "merged by directories";

  writeFile("run.ini", "[In]\npath=" + m_in + "\nbegin=0\nend=" + std::to_string(m_log.summary.bytes) +
                           "\n[Out]\ndir=byfile\n[Global]\nmaxIndexMemory=0\n");
  fs::create_directory("byfile");
  ASSERT_TRUE(quern("index run.ini")) << m_output;
  EXPECT_TRUE(content("byfile") == whole) << "a run file";
}

TEST_F(CliTest, RefusalsNameTheirCause) {
  const std::pair<std::string, const char*> cases[] = {
      {"index --in missing.qvlog --out x", "missing.qvlog"},
      {"index --in " + m_in + " --out x --jobs 0", "--jobs must be at least 1"},
      {"index --in " + m_in + " --out x --memory 5X", "bad size 5X"},
      {"index --in " + m_in, "--in and --out are required"},
      {"index --in " + m_in + " --out x --colour red", "unknown flag --colour"},
      {"merge --out y", "the input directories"},
      {"merge --out y nowhere", "nowhere/"},
      {"merge missing.ini", "missing.ini"},
      {"frobnicate", "unknown verb frobnicate"},
  };
  for (const auto& [args, words] : cases) {
    EXPECT_FALSE(quern(args)) << args;
    EXPECT_NE(m_output.find(words), std::string::npos) << args << ": " << m_output;
  }
}

// The lines of the program's output, without line ends.
std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    result.push_back(line);
  }
  return result;
}

std::vector<std::string> cells(const std::string& line) {
  std::vector<std::string> result(1);
  for (const char c : line) {
    if (c == '\t') result.emplace_back();
    else result.back().push_back(c);
  }
  return result;
}

class CliQueryTest : public CliTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(quern("index --in " + m_in + " --out whole")) << m_output;
    m_records = qvloggen::truthRecords(m_truth);
  }

  // The sidecar's matches of a filter, newest first.
  std::vector<const qvloggen::TruthRecord*> expected(const qvloggen::QueryValues& values) {
    const auto ids = qvloggen::truthMatches(m_records, values);
    std::vector<const qvloggen::TruthRecord*> newest;
    for (auto id = ids->rbegin(); id != ids->rend(); ++id) newest.push_back(&m_records[*id - 1]);
    return newest;
  }

  qvloggen::Truth m_truth = qvloggen::readTruth(m_log.summary.truthPath);
  std::vector<qvloggen::TruthRecord> m_records;
};

TEST_F(CliQueryTest, FlagsAnswerAsTheSidecar) {
  const qvloggen::TruthFrame& last = *m_records.back().frame;
  const std::string day = last.time.substr(0, 10);
  const auto newest = expected({{"cancel", "c"}, {"limit", "5"}, {"user", last.user},
                                {"time", day + " 00:00:00-" + day + " 99:99:99"}});
  ASSERT_TRUE(quern("query whole --user " + last.user + " --time " + day + " --limit 5 --format tsv")) << m_output;
  const std::vector<std::string> out = lines(m_output);
  ASSERT_EQ(out.size(), 2 + std::min<size_t>(5, newest.size())) << m_output;
  EXPECT_EQ(out[0], "count\t" + std::to_string(newest.size()) + "\tcomplete");
  EXPECT_EQ(cells(out[1]).size(), 19u);
  for (size_t i = 2; i < out.size(); ++i) {
    const std::vector<std::string> row = cells(out[i]);
    const qvloggen::TruthRecord& record = *newest[i - 2];
    ASSERT_EQ(row.size(), 19u) << out[i];
    EXPECT_EQ(row[0], qvloggen::truthLocator(record, 0));
    EXPECT_EQ(fs::path(row[1]).filename().string(), m_in) << "the log of number 0 in the current directory";
    EXPECT_EQ(row[2], record.frame->time);
    EXPECT_EQ(row[15], record.frame->user) << "the name from names.ini";
    EXPECT_EQ(row[16], record.frame->groupCrc == 0 ? "-"
                       : record.frame->groupPath.empty() ? std::to_string(record.frame->groupCrc)
                                                         : record.frame->groupPath);
    EXPECT_EQ(row[17], record.frame->serv);
    EXPECT_EQ(row[18], record.frame->app);
  }

  // The mail expansion, counted only, in the table form.
  const auto mail = expected({{"cancel", "c"}, {"limit", "0"}, {"serv", "邮件收发"}, {"time", "0-9"}});
  ASSERT_TRUE(quern("query whole --serv 邮件收发 --count")) << m_output;
  EXPECT_EQ(m_output, test::textFile(std::to_string(mail.size()) + " records match\n"));
  ASSERT_TRUE(quern("query whole --serv 邮件收发 --limit 2 --format json")) << m_output;
  EXPECT_EQ(m_output.rfind("{\"count\": " + std::to_string(mail.size()) + ", \"partial\": false", 0), 0u) << m_output;
  EXPECT_NE(m_output.find("\"locator\": \"" + qvloggen::truthLocator(*mail[1], 0) + "\""), std::string::npos);

  // The query file written from flags, with its cancel path, is a temporary
  // file: gone after the query.
  fs::create_directory("tmp");
  const std::string tmp = (fs::current_path() / "tmp").string();
  ASSERT_TRUE(quern("query whole --serv 邮件收发 --count", {{"TMPDIR", tmp}, {"TMP", tmp}, {"TEMP", tmp}})) << m_output;
  EXPECT_TRUE(fs::is_empty("tmp"));
}

TEST_F(CliQueryTest, QueryFileAndTheTableForPeople) {
  const qvloggen::TruthRecord& some = m_records[m_records.size() / 2];
  const std::string time = some.frame->time;
  writeFile("q.ini", "[filter]\ncancel = q.cancel\nlimit = 3\nhost = " + some.frame->host + "\ntime = " + time + "-" +
                         m_records.back().frame->time + "\n");
  const auto newest = expected({{"cancel", "q.cancel"}, {"limit", "3"}, {"host", some.frame->host},
                                {"time", time + "-" + m_records.back().frame->time}});
  ASSERT_TRUE(quern("query whole q.ini --logs " + m_in + " --format tsv")) << m_output;
  std::vector<std::string> out = lines(m_output);
  ASSERT_EQ(out.size(), 2 + std::min<size_t>(3, newest.size())) << m_output;
  for (size_t i = 2; i < out.size(); ++i) EXPECT_EQ(cells(out[i])[0], qvloggen::truthLocator(*newest[i - 2], 0));
  EXPECT_FALSE(fs::exists("q.cancel")) << "the host's cancel file is never made without Ctrl-C";

  // The table: a count line, titles, a line per row, none wider than the
  // terminal, cut text ending in an ellipsis.
  ASSERT_TRUE(quern("query whole q.ini", {{"COLUMNS", "60"}})) << m_output;
  out = lines(m_output);
  ASSERT_EQ(out.size(), 2 + std::min<size_t>(3, newest.size()));
  EXPECT_EQ(out[0], std::to_string(newest.size()) + " records match, the newest " +
                        std::to_string(std::min<size_t>(3, newest.size())) + ":");
  EXPECT_EQ(out[1].rfind("TIME ", 0), 0u);
  for (size_t i = 2; i < out.size(); ++i) {
    EXPECT_EQ(out[i].rfind(newest[i - 2]->frame->time + "  ", 0), 0u) << out[i];
    EXPECT_LE(out[i].size(), 60u * 3) << "at most 60 columns of at most three bytes";
    EXPECT_EQ(out[i].substr(out[i].size() - 3), "\xE2\x80\xA6") << out[i];
  }
}

TEST_F(CliQueryTest, RowsOfFrames) {
  const qvloggen::TruthRecord& record = m_records[7];
  const std::string where = std::to_string(record.blockOffset) + " " + std::to_string(record.ordinal);
  ASSERT_TRUE(quern("row " + m_in + " " + where + " --export")) << m_output;
  EXPECT_EQ(m_output, test::textFile(test::exportRow(*record.frame) + "\n"));
  ASSERT_TRUE(quern("row " + m_in + " " + where)) << m_output;
  EXPECT_EQ(m_output.rfind(record.frame->time + "\t", 0), 0u) << m_output;
  EXPECT_FALSE(quern("row " + m_in + " " + std::to_string(record.blockOffset) + " 100000"));
  EXPECT_NE(m_output.find("has no frame 100000"), std::string::npos) << m_output;
}

TEST_F(CliQueryTest, RefusalsNameTheirCause) {
  const std::pair<std::string, const char*> cases[] = {
      {"query", "DIR is missing"},
      {"query whole --format xml", "--format takes table, tsv or json"},
      {"query whole --colour red", "unknown flag --colour"},
      {"query whole --limit 10000001", "--limit takes a number up to 10000000"},
      {"query whole q.ini extra", "QUERYFILE takes no flags but --format and --logs"},
      {"row " + m_in + " 28", "LOG OFFSET ORDINAL [--export]"},
      {"row " + m_in + " 28 -1", "OFFSET and ORDINAL are numbers"},
  };
  for (const auto& [args, words] : cases) {
    EXPECT_FALSE(quern(args)) << args;
    EXPECT_NE(m_output.find(words), std::string::npos) << args << ": " << m_output;
    EXPECT_NE(m_output.find("usage: quern"), std::string::npos) << args << ": a wrong command line shows the usage";
  }
  // What the library refuses, in its words, with no usage.
  const std::pair<std::string, const char*> failures[] = {
      {"query whole --time 2026/11/23-2026/11/22", ",from is larger than to"},
      {"query whole --host 10.0.0.300", ",invalid host address:10.0.0.300"},
      {"query whole missing.ini", ",load missing.ini failed"},
      {"query whole --logs nowhere", "no log file or directory nowhere"},
      {"row " + m_in + " 0 1", ",error param"},
  };
  for (const auto& [args, words] : failures) {
    EXPECT_FALSE(quern(args)) << args;
    EXPECT_NE(m_output.find(words), std::string::npos) << args << ": " << m_output;
    EXPECT_EQ(m_output.find("usage: quern"), std::string::npos) << args << ": " << m_output;
  }
}

}  // namespace
}  // namespace quern
