// Index and merge runs end to end against the generator's ground truth.
// Every field is e1 here (the range and full-text kinds come later), so the
// configuration is the generator's with all indexer words set to e1.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "codec/sfwahtesting.h"
#include "config/config.h"
#include "frame/indexrun.h"
#include "index/index.h"
#include "index/indexmerger.h"
#include "intake/collector.h"
#include "kinds/e1indexreader.h"
#include "platform/faults.h"
#include "qvloggen.h"
#include "storage/address.h"
#include "storage/crc.h"
#include "storage/endian.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using qvloggen::TruthFrame;
using test::Bits;
using test::writeFile;

std::string le64(uint64_t v) {
  std::string bytes(8, '\0');
  storeLE64(reinterpret_cast<uint8_t*>(bytes.data()), v);
  return bytes;
}
std::string le32(uint32_t v) { return le64(v).substr(0, 4); }

// A field's every term with its records, read back from a directory.
std::map<std::string, Bits> fieldContent(const std::string& dir, const std::string& field) {
  E1IndexReader reader((dir + field + ".e1").c_str());
  std::map<std::string, Bits> content;
  for (uint32_t i = 0; i < reader.termCount(); ++i) {
    const std::string term = reader.term(i);
    content[term] = test::bitsOf(*reader.search(term.data(), static_cast<uint32_t>(term.size())));
  }
  return content;
}

// Level 1 of a frame's group: 0 without a group, absent for a group that
// groups.ini lacks, else the CRC-64 of the path's first part.
uint64_t topLevel(const TruthFrame& frame) {
  if (frame.groupCrc == 0) return 0;
  if (frame.groupPath.empty()) return Collector::kAbsentLevel;
  const std::string top = frame.groupPath.substr(1, frame.groupPath.find('/', 1) - 1);
  return crc64(top.data(), static_cast<uint32_t>(top.size()));
}

class RunTest : public ::testing::Test {
 protected:
  RunTest() : m_home(std::filesystem::current_path()) {
    qvloggen::Options options;
    options.seed = 5;
    options.blocks = 6;
    options.maxBlock = 48u << 10;
    m_summary = qvloggen::generate(options, m_dir.path());
    m_truth = qvloggen::readTruth(m_summary.truthPath);
    std::filesystem::current_path(m_dir.path());
    writeFile("config.ini", qvloggen::configIni(true));
    m_config = std::make_unique<GlobalConfig>("config.ini");
    m_fields = std::make_unique<FieldsInfo>(*m_config);
    for (const TruthFrame& frame : m_truth.frames) {
      if (frame.ordinal >= 0 && frameLayout(frame.type) != nullptr) m_records.push_back(&frame);
    }
  }
  ~RunTest() override { std::filesystem::current_path(m_home); }

  // Indexes [begin, end] of the log into `dir` (made here) with a limit.
  std::string index(const std::string& dir, uint64_t begin, uint64_t end, const std::string& limit) {
    std::filesystem::create_directories(dir);
    const std::string run = dir + ".run";
    writeFile(run, "[In]\npath=" + m_summary.logPath + "\nbegin=" + std::to_string(begin) +
                       "\nend=" + std::to_string(end) + "\n[Out]\ndir=" + dir + "\n[Global]\nmaxIndexMemory=" +
                       limit + "\ncacheValueSize=64\n");
    RunIndex(run.c_str(), *m_fields);
    return dir + "/";
  }

  // Every field of `dir` holds exactly the records the sidecar gives it
  // (the result text aside, which has its own tests), and every record's
  // locator leads to its own frame.
  void expectTruth(const std::string& dir) {
    IndexReader reader(dir, *m_fields);
    reader.loadSummary();
    ASSERT_EQ(reader.recordCount(), m_records.size());
    std::map<std::string, std::map<std::string, Bits>> model;
    const auto put = [&](const std::string& field, const std::string& value, size_t record) {
      model[field].try_emplace(value, m_records.size()).first->second[record] = true;
    };
    static const CCrc crc32;
    for (size_t r = 0; r < m_records.size(); ++r) {
      const TruthFrame& f = *m_records[r];
      put("user", le64(f.userCrc), r);
      uint8_t host[16];
      addressFromText(f.host.c_str(), host);
      put("host", std::string(reinterpret_cast<char*>(host), 16), r);
      put("serv", le32(crc32.compute(f.serv.data(), static_cast<uint32_t>(f.serv.size()))), r);
      put("app", le32(f.appCrc), r);
      put("private", le32(f.privateMark), r);
      put("time", f.time, r);
      put("snap", le32(f.snap.empty() ? 0 : 1), r);
      put("g1", le64(topLevel(f)), r);
    }
    for (const auto& [field, content] : model) EXPECT_EQ(fieldContent(dir, field), content) << field;

    const CDataReader& store = *reader.store();
    std::map<uint64_t, int32_t> seenInBlock;
    for (size_t r = 0; r < m_records.size(); ++r) {
      const TruthFrame& f = *m_records[r];
      const int32_t ordinal = seenInBlock[f.blockOffset]++;
      const std::string expected = ":" + std::to_string(f.blockOffset) + ":" + std::to_string(ordinal);
      const std::string locator = store.locator(static_cast<uint32_t>(r + 1));
      EXPECT_EQ(locator.substr(locator.find(':')), expected) << "record " << r + 1;
    }
  }

  test::TempDir m_dir;
  std::filesystem::path m_home;
  qvloggen::Summary m_summary;
  qvloggen::Truth m_truth;
  std::unique_ptr<GlobalConfig> m_config;
  std::unique_ptr<FieldsInfo> m_fields;
  std::vector<const TruthFrame*> m_records;
};

TEST_F(RunTest, OnePassAndOnePassPerBlockGiveTheTruth) {
  const uint64_t end = m_summary.bytes;
  size_t withoutRecord = 0;
  for (const TruthFrame& frame : m_truth.frames) withoutRecord += frameLayout(frame.type) == nullptr;
  ASSERT_GT(withoutRecord, 0u) << "the log must mix frames without a record into its blocks";
  const std::string one = index("one", 0, end, "4000000000");
  expectTruth(one);
  const std::string many = index("many", 0, end, "0");
  expectTruth(many);
  for (const auto& entry : std::filesystem::directory_iterator("many")) {
    EXPECT_FALSE(entry.is_directory()) << "pass directory left: " << entry.path();
  }
  for (uint32_t id = 0; id < m_fields->fieldCount(); ++id) {
    const std::string name = m_fields->fieldName(id);
    EXPECT_EQ(fieldContent(one, name), fieldContent(many, name)) << name;
  }
}

TEST_F(RunTest, MergeRunJoinsSlicesAndLeavesEmptyInputsOut) {
  std::vector<std::string> dirs;
  // Two blocks per slice: a block that spans `end` is taken whole.
  for (size_t b = 0; b < m_truth.blocks.size(); b += 2) {
    const std::string name = "slice" + std::to_string(b);
    dirs.push_back(index(name, m_truth.blocks[b].offset, m_truth.blocks[b + 1].offset + 1, "4000000000"));
  }
  dirs.insert(dirs.begin() + 1, index("empty", m_summary.bytes, m_summary.bytes + 1, "4000000000"));
  std::filesystem::create_directory("merged");
  std::string input = "[In]\ncount=" + std::to_string(dirs.size()) + "\n";
  for (size_t i = 0; i < dirs.size(); ++i) input += "i" + std::to_string(i) + "=" + dirs[i] + "\n";
  writeFile("merge.ini", input + "[Out]\npath=merged/\n");
  IndexMerger(*m_fields, 1, 1).mergeFile("merge.ini");
  expectTruth("merged/");

  const struct {
    std::string ini;
    std::string message;
  } bad[] = {{"[In]\ncount=0\n", "[In] count:0 is invalid"},
             {"[In]\ncount=201\n", "[In] count:201 is invalid"},
             {"[In]\ncount=2\ni0=one/\n", "i1->path empty"}};
  for (const auto& c : bad) {
    writeFile("bad.ini", c.ini);
    EXPECT_THAT(test::failureText([&] { IndexMerger(*m_fields, 1, 1).mergeFile("bad.ini"); }),
                ::testing::HasSubstr(c.message));
  }
}

// A run stopped by a failing file operation leaves a directory the reader
// refuses; the same run on the cleaned directory gives the full result.
TEST_F(RunTest, InterruptedRunIsRefusedAndRerunSucceeds) {
  int interrupted = 0;
  for (uint64_t nth : {3u, 40u, 200u}) {
    std::filesystem::remove_all("cut");
    platform::faults::arm(nth, platform::faults::Effect::Fail, platform::faults::kAllOps);
    bool failed = false;
    try {
      index("cut", 0, m_summary.bytes, "0");
    } catch (const std::exception&) {
      failed = true;
    }
    platform::faults::disarm();
    if (!failed) continue;
    ++interrupted;
    EXPECT_ANY_THROW({
      IndexReader reader("cut/", *m_fields);
      reader.loadSummary();
    }) << nth;
    std::filesystem::remove_all("cut");
    expectTruth(index("cut", 0, m_summary.bytes, "0"));
  }
  EXPECT_GT(interrupted, 0);
}

}  // namespace
}  // namespace quern
