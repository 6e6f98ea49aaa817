#include "intake/collector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "index/index.h"
#include "storage/crc.h"
#include "support/logdir.h"

namespace quern {
namespace {

using ::testing::HasSubstr;
using test::writeFile;

uint64_t crcOf(const std::string& text) { return crc64(text.data(), static_cast<uint32_t>(text.size())); }

std::string groupLine(uint32_t i, const std::string& name) {
  return "[g" + std::to_string(i) + "]\nname=" + name + "\ncrc=" + std::to_string(crcOf(name)) + "\n";
}

class CollectorTest : public ::testing::Test {
 protected:
  // No text: no groups.ini at all.
  std::string constructionFailure(const std::string& groupsIni) {
    if (groupsIni.empty()) std::filesystem::remove("groups.ini");
    else writeFile("groups.ini", groupsIni);
    IndexWriter writer(m_out, *m_log.fields, 16);
    return test::failureText([&] { Collector collector(&writer, "x.qvlog"); });
  }
  // Collects [begin, end] under a memory limit; the end it gives back. A
  // run file of its own per limit: a reload of an unchanged path may be skipped.
  uint64_t collect(const std::string& limit, uint64_t begin, uint64_t end) {
    writeFile("run" + limit + ".ini", "[Global]\nmaxIndexMemory=" + limit + "\n");
    IndexConfig::instance().load(("run" + limit + ".ini").c_str());
    IndexWriter writer(m_out, *m_log.fields, 7);
    return Collector(&writer, m_log.summary.logPath.c_str()).Collect(begin, end);
  }

  test::LogDir m_log{11, 4, 64u << 10};
  std::string m_out = m_log.dir.path() + "/";
};

TEST_F(CollectorTest, GroupsIniIsChecked) {
  const std::pair<std::string, const char*> cases[] = {
      {"[global]\n", ",group count 0 is invalid"},
      {"[global]\ncount=1000001\n", ",group count 1000001 is invalid"},
      {"[global]\ncount=1\n[g0]\ncrc=5\n", ",g0->name is empty"},
      {"[global]\ncount=2\n" + groupLine(0, "/a") + "[g1]\nname=/b\n", ",g1->crc is empty"},
      {"[global]\ncount=1\n[g0]\nname=/a\ncrc=" + std::to_string(crcOf("/b")) + "\n", ",g0->name crc is error"},
      {"", ",load groups.ini failed"},
  };
  for (const auto& [ini, message] : cases) {
    EXPECT_THAT(constructionFailure(ini), ::testing::AllOf(HasSubstr("collector"), HasSubstr(message)));
  }
}

TEST_F(CollectorTest, GroupLevelsFollowThePath) {
  std::string deep;
  for (int i = 0; i < 17; ++i) deep += "/L" + std::to_string(i);
  writeFile("groups.ini", "[global]\ncount=4\n" + groupLine(0, "/Sales/ East") + groupLine(1, "/a//b/") +
                              groupLine(2, "noslash") + groupLine(3, deep));
  IndexWriter writer(m_out, *m_log.fields, 16);
  const Collector collector(&writer, "x.qvlog");
  const uint64_t absent = Collector::kAbsentLevel;
  ASSERT_EQ(absent, crcOf("\x08"));

  Collector::Levels expected;
  expected.fill(absent);
  expected[0] = crcOf("Sales");
  expected[1] = crcOf("East");
  EXPECT_EQ(collector.groupLevels(crcOf("/Sales/ East")), expected) << "blanks are cut from parts";
  expected[0] = crcOf("a");
  expected[1] = crcOf("b");
  EXPECT_EQ(collector.groupLevels(crcOf("/a//b/")), expected) << "no level between two slashes";

  expected.fill(absent);
  EXPECT_EQ(collector.groupLevels(12345), expected) << "an unknown group has every level absent";
  expected[0] = 0;
  EXPECT_EQ(collector.groupLevels(0), expected) << "no group";
  EXPECT_EQ(collector.groupLevels(crcOf("noslash")), expected) << "a path without its leading slash";

  const Collector::Levels levels = collector.groupLevels(crcOf(deep));
  for (uint32_t i = 0; i < Collector::kGroupLevels; ++i) EXPECT_EQ(levels[i], crcOf("L" + std::to_string(i)));
}

// Where a pass ends against the generator's blocks; what the passes hold is
// checked against the sidecar by the run tests.
TEST_F(CollectorTest, PassesStopAtBlocks) {
  const auto& blocks = m_log.summary.blocks;
  const uint64_t farEnd = blocks.back().end + 1000;
  EXPECT_EQ(collect("4000000000", 0, farEnd), farEnd) << "an end beyond the file is given back";
  EXPECT_EQ(collect("0", 0, farEnd), blocks[0].end) << "a limit of 0 takes one block";
  EXPECT_EQ(collect("0", blocks[1].offset, blocks[1].offset), blocks[2].offset) << "begin equal to end takes its block";
}

}  // namespace
}  // namespace quern
