#include "queryfile.h"

#include <gtest/gtest.h>

#include "config/ini.h"
#include "ini.h"
#include "support/tempdir.h"

namespace quern::cli {
namespace {

QueryFlags parse(const std::vector<std::string>& args) { return parseQueryFlags(args); }

TEST(QueryFile, EveryFlagBecomesItsClause) {
  const QueryFlags flags = parse({"--user", "zhang.wei", "--group", "/Sales/East", "--group", "Lab", "--host",
                                  "10.0.0.1-10.0.0.200", "--serv", "邮件收发", "--app", "QQ", "--private", "-3",
                                  "--snap", "5", "--time", "2026/11/22", "--result", "contract text+2014", "--result",
                                  "invoice", "--limit", "7"});
  EXPECT_EQ(queryFileText(flags, "/tmp/q.cancel"),
            "[filter]\n"
            "cancel = /tmp/q.cancel\n"
            "limit = 7\n"
            "user = zhang.wei\n"
            "group = /Sales/East\tLab\n"
            "host = 10.0.0.1-10.0.0.200\n"
            "serv = 邮件收发\n"
            "app = QQ\n"
            "private = -3\n"
            "time = 2026/11/22 00:00:00-2026/11/22 99:99:99\n"
            "result = contract text\b2014\tinvoice\n"
            "snap = 5\n");
  // Without flags: every record of all time, the default limit.
  EXPECT_EQ(queryFileText(parse({}), "c"),
            "[filter]\ncancel = c\nlimit = 20\ntime = 0000/00/00 00:00:00-9999/99/99 99:99:99\n");
  EXPECT_EQ(parse({"--count", "--limit", "9"}).limit, 0u) << "--count wins wherever it stands";
}

TEST(QueryFile, TimesAreFilledOutAtBothEnds) {
  EXPECT_EQ(timeClause(""), "0000/00/00 00:00:00-9999/99/99 99:99:99");
  EXPECT_EQ(timeClause("2026/11/22 10"), "2026/11/22 10:00:00-2026/11/22 10:99:99");
  EXPECT_EQ(timeClause("2026/11/22 10:00:00-2026/11/22 11:30"), "2026/11/22 10:00:00-2026/11/22 11:30:99");
  EXPECT_EQ(timeClause("-2026/11"), "0000/00/00 00:00:00-2026/11/99 99:99:99");
  EXPECT_EQ(timeClause("2026/11/22 10:00:00 later-"), "2026/11/22 10:00:00 later-9999/99/99 99:99:99");
  EXPECT_THROW(timeClause("1-2-3"), std::invalid_argument);
}

TEST(QueryFile, RefusesWhatTheFileCannotCarry) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"--colour", "red"}, "unknown flag --colour"},
      {{"--user"}, "--user needs a value"},
      {{"--limit", "10000001"}, "--limit takes a number up to 10000000"},
      {{"--limit", "-1"}, "--limit takes a number up to 10000000"},
      {{"--private", "x"}, "--private takes a whole number"},
      {{"--snap", "-"}, "--snap takes a whole number"},
      {{"--user", "a\nb"}, "--user cannot hold a TAB or a line end"},
      {{"--group", "a\tb"}, "--group cannot hold a TAB or a line end"},
  };
  for (const auto& [args, text] : cases) {
    try {
      parse(args);
      ADD_FAILURE() << "accepted " << args[0];
    } catch (const std::invalid_argument& problem) {
      EXPECT_EQ(problem.what(), text);
    }
  }
}

// Blanks at both ends of a value belong to it: the library's INI reader and
// the command line's own must read back exactly what was asked for.
TEST(QueryFile, ValuesSurviveTheLibrarysReader) {
  QueryFlags flags;
  flags.user = "  two blanks ";
  flags.groups = {" /a/ b", "c"};
  flags.app = "x = y";
  const test::TempDir dir;
  test::writeFile(dir.file("q.ini"), queryFileText(flags, "c"));
  IniFile library;
  ASSERT_EQ(library.Load(dir.file("q.ini").c_str()), 0);
  const Ini own(dir.file("q.ini"));
  for (const auto& [key, value] : queryClauses(flags, "c")) {
    EXPECT_STREQ(library.Value(library.Section("filter"), key.c_str()), value.c_str()) << key;
    EXPECT_EQ(own.value("FILTER", key), value) << key;
  }
}

}  // namespace
}  // namespace quern::cli
