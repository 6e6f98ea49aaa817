// The quern program end to end: its index and merge verbs, run as child
// processes on a generated log, must give the same records however the work
// is split (one run, parts merged by child processes, passes under a zero
// memory limit, run files, directories merged by hand).
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "index/index.h"
#include "support/logdir.h"

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
  // Runs the program; true when it exited with 0. Its output lands in m_output.
  bool quern(const std::string& args) {
    const int code = std::system(("\"" + m_cli + "\" " + args + " > output.txt 2>&1").c_str());
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

}  // namespace
}  // namespace quern
