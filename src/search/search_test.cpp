// The query file: the tree the parser builds, its order and its failures.
#include "search/search.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/cancel.h"
#include "platform/platform.h"
#include "qvloggen/qvloggen.h"
#include "qvloggen/vocabulary.h"
#include "search/mfilter.h"
#include "storage/crc.h"
#include "support/filtertree.h"
#include "support/raises.h"
#include "support/smallindex.h"
#include "support/tracelog.h"

namespace quern {
namespace {

using test::e;
using test::le32;
using test::le64;
using test::r;

std::string crc64Of(const std::string& text) { return le64(crc64(text.data(), static_cast<uint32_t>(text.size()))); }
std::string crc32Of(const std::string& text) {
  static const CCrc crc;
  return le32(crc.compute(text.data(), static_cast<uint32_t>(text.size())));
}
// An IPv4 address in the 16-byte form.
std::string ipv4(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
  return std::string("\xFF\xBF", 2) + std::string(10, '\0') + std::string{char(a), char(b), char(c), char(d)};
}

constexpr char kT1[] = "2026/11/22 10:00:00";
constexpr char kT2[] = "2026/11/22 11:30:00";

// Parses query files in the directory of a one-record index, which is the
// current directory (with the generator's resource.ini) while a test runs.
class ParseQuery : public ::testing::Test {
 protected:
  ParseQuery() : m_index({{"f", "e1"}}, {{"x"}}), m_searcher(m_index.out, *m_index.fields) {
    std::filesystem::current_path(m_index.dir.path());
    test::writeFile("resource.ini", qvloggen::resourceIni());
    Canceler::setCurrent(&m_canceler);
  }
  ~ParseQuery() override {
    Canceler::setCurrent(nullptr);
    std::filesystem::current_path(m_home);
  }

  // The root after parsing a file of `text`, as a tree text.
  std::string parse(const std::string& text) {
    parseInto(text);
    return test::describe(*m_root);
  }
  // The same for a [filter] section with cancel, limit and time before `keys`.
  std::string clauses(const std::string& keys) {
    return parse("[filter]\ncancel = c\nlimit = 10\ntime = " + std::string(kT1) + "\n" + keys);
  }
  void parseInto(const std::string& text) {
    test::writeFile("query.ini", text);
    m_searcher.setQueryPath("query.ini");
    m_root = std::make_unique<MFilter>();
    m_searcher.parseQuery(*m_root, m_limit);
  }

  std::filesystem::path m_home = std::filesystem::current_path();
  test::SmallIndex m_index;
  Searcher m_searcher;
  Canceler m_canceler{1};
  std::unique_ptr<MFilter> m_root;
  uint32_t m_limit = 7;
};

TEST_F(ParseQuery, TheWorkedExampleGivesItsSevenChildrenInOrder) {
  const test::TraceLog log;
  const std::string tree = parse(
      "[filter]\ncancel = cancel17\nlimit = 100\nuser = alice\ngroup = /Sales/East\t/Sales/West/Team1\n"
      "host = 10.0.0.1-10.0.0.200\napp = Mail\nprivate = 0\ntime = " + std::string(kT1) + "-" + kT2 +
      "\nresult = contract text\b2014\tinvoice\n");
  EXPECT_EQ(tree, "M[" + e("user", crc64Of("alice")) + ", U[M[" + e("g1", crc64Of("Sales")) + ", " +
                      e("g2", crc64Of("East")) + "], M[" + e("g1", crc64Of("Sales")) + ", " + e("g2", crc64Of("West")) +
                      ", " + e("g3", crc64Of("Team1")) + "]], " + r("host", ipv4(10, 0, 0, 1), ipv4(10, 0, 0, 200)) +
                      ", " + e("app", crc32Of("Mail")) + ", " + e("private", le32(0)) + ", " + r("time", kT1, kT2) +
                      ", U[M[" + e("result", "contract text") + ", " + e("result", "2014") + "], M[" +
                      e("result", "invoice") + "]]]");
  EXPECT_EQ(m_limit, 100u);
  for (const char* line : {"set cancel file:cancel17", "parse limit:100", "parse user:alice", "parse group :/Sales/East",
                           "parse group level(g3):Team1", "parse host:10.0.0.1-10.0.0.200", "parse app:Mail",
                           "parse private:0", "parse time:2026/11/22 10:00:00-2026/11/22 11:30:00",
                           "parse result:contract text\b2014\tinvoice"}) {
    EXPECT_TRUE(log.has(line)) << line;
  }
  // The file the query names cancels it.
  test::writeFile("cancel17", "");
  while (m_canceler.IsCancelled() == 0) platform::sleepMilliseconds(1);
}

TEST_F(ParseQuery, KeysAreReadInTheirOwnOrderWhereverTheyStand) {
  EXPECT_EQ(parse("[other]\nuser = bob\n[FILTER]\nSnap = 5\nresult = r\ntime = " + std::string(kT1) +
                  "\nprivate = -3\napp = a\nserv = s\nhost = ::1\ngroup = g\nuser = u\nuser = second\nLimit = 0\n"
                  "cancel = c\n"),
            "M[" + e("user", crc64Of("u")) + ", U[M[" + e("g1", crc64Of("g")) + "]], " +
                e("host", std::string(15, '\0') + "\x01") + ", " + e("serv", crc32Of("s")) + ", " +
                e("app", crc32Of("a")) + ", " + e("private", le32(0xFFFFFFFD)) + ", " + r("time", kT1, kT1) + ", U[M[" +
                e("result", "r") + "]], " + e("snap", le32(1)) + "]")
      << "keys without case, the first of a repeated key, other sections ignored";
  EXPECT_EQ(m_limit, 0u);
  EXPECT_EQ(clauses(""), "M[" + r("time", kT1, kT1) + "]") << "a time of one text is the range of that text";
  EXPECT_EQ(clauses("user = $临时用户\nsnap = 0\nprivate = 12x\n"),
            "M[" + e("user", le64(0)) + ", " + e("private", le32(12)) + ", " + r("time", kT1, kT1) + ", " +
                e("snap", le32(0)) + "]");
  EXPECT_EQ(clauses("snap = abc\n"), "M[" + r("time", kT1, kT1) + ", " + e("snap", le32(0)) + "]");
}

TEST_F(ParseQuery, GroupPathsAndResultAlternatives) {
  const test::TraceLog log;
  const std::string time = r("time", kT1, kT1);
  EXPECT_EQ(clauses("group = /\n"), "M[" + time + "]");
  EXPECT_TRUE(log.has("parse groups empty, no filter"));
  EXPECT_EQ(clauses("group = a///b\t\t/\t//c\n"),
            "M[U[M[" + e("g1", crc64Of("a")) + ", " + e("g2", crc64Of("b")) + "], M[" + e("g1", crc64Of("c")) + "]], " +
                time + "]");
  EXPECT_EQ(clauses("group = \t//\t\n"), "M[" + time + "]") << "paths without a level add nothing";
  EXPECT_EQ(clauses("result = \t\t\n"), "M[" + time + ", U[]]") << "TABs alone: an empty union";
  EXPECT_EQ(clauses("result = \b\b\t x\n"), "M[" + time + ", U[M[], M[" + e("result", " x") + "]]]");
  std::string sixteen;
  for (int level = 1; level <= 16; ++level) sixteen += "/l" + std::to_string(level);
  clauses("group = " + sixteen + "\n");
  const auto& path = dynamic_cast<const MFilter&>(*dynamic_cast<const UFilter&>(*m_root->filters()[0]).filters()[0]);
  ASSERT_EQ(path.filters().size(), 16u);
  EXPECT_EQ(test::describe(*path.filters()[15]), e("g16", crc64Of("l16")));
}

TEST_F(ParseQuery, TheMailServiceExpands) {
  const std::string mailRecvSend(qvloggen::kResMailRecvSend);
  EXPECT_EQ(clauses("serv = " + mailRecvSend + "\n"),
            "M[U[M[" + e("serv", crc32Of(std::string(qvloggen::kResHttpApp))) + ", " +
                e("app", crc32Of(std::string(qvloggen::kResWebMail))) + "], " +
                e("serv", crc32Of(std::string(qvloggen::kResMail))) + "], " + r("time", kT1, kT1) + "]");
  EXPECT_EQ(clauses("serv = " + mailRecvSend + " \n"),
            "M[" + e("serv", crc32Of(mailRecvSend + " ")) + ", " + r("time", kT1, kT1) + "]")
      << "only the very label expands";
}

TEST_F(ParseQuery, FailuresNameWhatIsWrong) {
  const std::pair<std::string, std::string> refused[] = {
      {"[other]\ncancel = c\n", "cancel path is empty"},
      {"[filter]\ncancel = c\n", "search limit is empty"},
      {"[filter]\ncancel = c\nlimit = 10000001\ntime = t\n", "search limit:10000001 is invalid"},
      {"[filter]\ncancel = c\nlimit = -1\ntime = t\n", "search limit:4294967295 is invalid"},
      {"[filter]\ncancel = c\nlimit = 5\n", "search time is empty"},
      {"[filter]\ncancel = c\nlimit = 5\ntime = -\n", "search time is empty"},
      {"[filter]\ncancel = c\nlimit = 5\ntime = t\nhost = --\n", "search host is empty"},
      {"[filter]\ncancel = c\nlimit = 5\ntime = t\nhost = 10.0.0.256\n", "invalid host address:10.0.0.256"},
      {"[filter]\ncancel = c\nlimit = 5\ntime = t\nhost = 10.0.0.1-fe80::1::2\n", "invalid host address:fe80::1::2"},
  };
  for (const auto& [text, failure] : refused) EXPECT_TRUE(test::raises([&] { parse(text); }, 2, failure)) << text;
  const std::string from = "[filter]\ncancel = c\nlimit = 5\n";
  EXPECT_TRUE(test::raises([&] { parse(from + "time = b-a\n"); }, 1, "from is larger than to"));
  EXPECT_TRUE(test::raises([&] { parse(from + "time = t\nhost = 10.0.0.2-10.0.0.1\n"); }, 1, "from is larger than to"));
  EXPECT_TRUE(test::raises([&] { m_searcher.setQueryPath("missing.ini"); m_searcher.parseQuery(*m_root, m_limit); }, 2,
                           "load missing.ini failed"));
  Canceler::setCurrent(nullptr);
  EXPECT_TRUE(test::raises([&] { parse(from); }, 1, "canceler is null, need to set it first"));
  Canceler::setCurrent(&m_canceler);
  // What was added before the failure stays in the root.
  EXPECT_TRUE(test::raises([&] { parse(from + "user = u\nhost = x\n"); }, 2, "invalid host address:x"));
  EXPECT_EQ(test::describe(*m_root), "M[" + e("user", crc64Of("u")) + "]");
  EXPECT_NO_THROW(parse("[filter]\ncancel = c\nlimit = 10000000\ntime = t\n"));
  EXPECT_NO_THROW(parse("[filter]\ncancel = c\nlimit = abc\ntime = t\n"));
  EXPECT_EQ(m_limit, 0u) << "a limit without digits is 0, a count only";
}

}  // namespace
}  // namespace quern
