#include "intake/collector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "config/config.h"
#include "index/index.h"
#include "qvloggen.h"
#include "storage/crc.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using test::TempDir;
using test::writeFile;

uint64_t crcOf(const std::string& text) { return crc64(text.data(), static_cast<uint32_t>(text.size())); }

std::string groupLine(uint32_t i, const std::string& name) {
  return "[g" + std::to_string(i) + "]\nname=" + name + "\ncrc=" + std::to_string(crcOf(name)) + "\n";
}

// Every field e1: the other kinds are not needed to feed records.
std::string allE1Config() {
  std::string config = qvloggen::configIni();
  for (const char* kind : {"indexer=range", "indexer=ft"}) {
    for (size_t at; (at = config.find(kind)) != std::string::npos;) config.replace(at, std::strlen(kind), "indexer=e1");
  }
  return config;
}

class CollectorTest : public ::testing::Test {
 protected:
  CollectorTest() : m_home(std::filesystem::current_path()) {
    std::filesystem::current_path(m_dir.path());
    writeFile("config.ini", allE1Config());
  }
  ~CollectorTest() override { std::filesystem::current_path(m_home); }

  // No text: no groups.ini at all.
  std::string constructionFailure(const std::string& groupsIni) {
    if (groupsIni.empty()) std::filesystem::remove("groups.ini");
    else writeFile("groups.ini", groupsIni);
    IndexWriter writer(m_out, fields(), 16);
    return test::failureText([&] { Collector collector(&writer, "x.qvlog"); });
  }
  const FieldsInfo& fields() {
    if (!m_fields) {
      m_config = std::make_unique<GlobalConfig>("config.ini");
      m_fields = std::make_unique<FieldsInfo>(*m_config);
    }
    return *m_fields;
  }
  // A run file of its own per limit: a reload of an unchanged path may be skipped.
  void setMemoryLimit(const std::string& limit) {
    const std::string path = "run" + limit + ".ini";
    writeFile(path, "[Global]\nmaxIndexMemory=" + limit + "\n");
    IndexConfig::instance().load(path.c_str());
  }

  TempDir m_dir;
  std::filesystem::path m_home;
  std::string m_out = m_dir.path() + "/";
  std::unique_ptr<GlobalConfig> m_config;
  std::unique_ptr<FieldsInfo> m_fields;
};

TEST_F(CollectorTest, GroupsIniIsChecked) {
  const struct {
    std::string ini;
    std::string message;
  } cases[] = {
      {"[global]\n", ",group count 0 is invalid"},
      {"[global]\ncount=1000001\n", ",group count 1000001 is invalid"},
      {"[global]\ncount=1\n[g0]\ncrc=5\n", ",g0->name is empty"},
      {"[global]\ncount=2\n" + groupLine(0, "/a") + "[g1]\nname=/b\n", ",g1->crc is empty"},
      {"[global]\ncount=1\n[g0]\nname=/a\ncrc=" + std::to_string(crcOf("/b")) + "\n", ",g0->name crc is error"},
      {"", ",load groups.ini failed"},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(constructionFailure(c.ini), AllOf(HasSubstr("collector"), HasSubstr(c.message)));
  }
  EXPECT_THROW(Collector(nullptr, "x"), std::runtime_error);
}

TEST_F(CollectorTest, GroupLevelsFollowThePath) {
  std::string deep;
  for (int i = 0; i < 17; ++i) deep += "/L" + std::to_string(i);
  writeFile("groups.ini", "[global]\ncount=4\n" + groupLine(0, "/Sales/ East") + groupLine(1, "/a//b/") +
                              groupLine(2, "noslash") + groupLine(3, deep));
  IndexWriter writer(m_out, fields(), 16);
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

// Pass boundaries and store entries against the generator's blocks.
TEST_F(CollectorTest, PassesStopAtBlocksAndTheStoreListsThem) {
  qvloggen::Options options;
  options.seed = 11;
  options.blocks = 4;
  options.maxBlock = 64u << 10;
  const qvloggen::Summary summary = qvloggen::generate(options, m_dir.path());
  const qvloggen::Truth truth = qvloggen::readTruth(summary.truthPath);
  writeFile("config.ini", allE1Config());
  std::vector<uint32_t> records(truth.blocks.size(), 0);
  for (const qvloggen::TruthFrame& frame : truth.frames) {
    if (frame.ordinal < 0 || frameLayout(frame.type) == nullptr) continue;
    for (size_t b = 0; b < truth.blocks.size(); ++b) records[b] += truth.blocks[b].offset == frame.blockOffset;
  }
  const uint64_t farEnd = truth.blocks.back().end + 1000;

  setMemoryLimit("4000000000");
  {
    std::filesystem::create_directory("all");
    IndexWriter writer("all/", fields(), 7);
    Collector collector(&writer, summary.logPath.c_str());
    EXPECT_EQ(collector.Collect(0, farEnd), farEnd) << "an end beyond the file is given back";
    writer.flush();
    writer.finish();
    EXPECT_EQ(writer.recordCount(), records[0] + records[1] + records[2] + records[3]);
  }
  const CDataReader store("all/store");
  uint32_t first = 1;
  auto entry = store.entries().begin();
  for (size_t b = 0; b < truth.blocks.size(); ++b, ++entry) {
    ASSERT_NE(entry, store.entries().end());
    EXPECT_EQ(entry->first, first);
    EXPECT_EQ(entry->second.logOffset, truth.blocks[b].offset);
    first += records[b];
  }
  EXPECT_EQ(truth.blocks[0].offset, kFileHeaderSize) << "reading starts behind the file head";

  setMemoryLimit("0");
  IndexWriter writer(m_out, fields(), 7);
  Collector collector(&writer, summary.logPath.c_str());
  EXPECT_EQ(collector.Collect(0, farEnd), truth.blocks[0].end) << "a limit of 0 takes one block";
  EXPECT_EQ(collector.Collect(truth.blocks[1].offset, truth.blocks[1].offset), truth.blocks[2].offset)
      << "begin equal to end still takes its block";
  EXPECT_EQ(collector.Collect(truth.blocks[3].offset, truth.blocks[3].end), truth.blocks[3].end);
}

}  // namespace
}  // namespace quern
