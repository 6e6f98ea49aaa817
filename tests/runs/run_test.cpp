// Index and merge runs end to end against the generator's ground truth.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "index/index.h"
#include "index/indexmerger.h"
#include "intake/collector.h"
#include "platform/faults.h"
#include "storage/address.h"
#include "storage/crc.h"
#include "storage/endian.h"
#include "support/logdir.h"
#include "support/rangemodel.h"

namespace quern {
namespace {

using qvloggen::TruthFrame;
using test::writeFile;

std::string le64(uint64_t v) {
  std::string bytes(8, '\0');
  storeLE64(reinterpret_cast<uint8_t*>(bytes.data()), v);
  return bytes;
}
std::string le32(uint32_t v) { return le64(v).substr(0, 4); }

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
  RunTest() {
    for (const TruthFrame& frame : m_truth.frames) {
      if (frame.ordinal >= 0 && frameLayout(frame.type) != nullptr) m_records.push_back(&frame);
    }
  }

  // Every field of `dir` holds exactly the records the sidecar gives it
  // (the result text aside, which has its own tests), and every record's
  // locator leads to its own frame.
  void expectTruth(const std::string& dir) {
    IndexReader reader(dir, *m_log.fields);
    reader.loadSummary();
    ASSERT_EQ(reader.recordCount(), m_records.size());
    std::map<std::string, test::Terms> model;
    std::map<uint64_t, int32_t> seenInBlock;
    static const CCrc crc32;
    for (size_t r = 0; r < m_records.size(); ++r) {
      const TruthFrame& f = *m_records[r];
      uint8_t host[16];
      addressFromText(f.host.c_str(), host);
      const std::pair<const char*, std::string> values[] = {
          {"user", le64(f.userCrc)},
          {"host", std::string(reinterpret_cast<char*>(host), 16)},
          {"serv", le32(crc32.compute(f.serv.data(), static_cast<uint32_t>(f.serv.size())))},
          {"app", le32(f.appCrc)},
          {"private", le32(f.privateMark)},
          {"time", f.time},
          {"snap", le32(f.snap.empty() ? 0 : 1)},
          {"g1", le64(topLevel(f))}};
      for (const auto& [field, value] : values) {
        model[field].try_emplace(value, m_records.size()).first->second[r] = true;
      }
      const std::string locator = reader.store()->locator(static_cast<uint32_t>(r + 1));
      EXPECT_EQ(locator.substr(locator.find(':')),
                ":" + std::to_string(f.blockOffset) + ":" + std::to_string(seenInBlock[f.blockOffset]++))
          << "record " << r + 1;
    }
    // time is a Range field: its values keep cumulative sets.
    model["time"] = test::cumulative(model["time"]);
    for (const auto& [field, content] : model) EXPECT_EQ(m_log.terms(dir, field), content) << field;
    expectTimeRanges(dir);
  }

  // Ranges of time, ends stored or just above a stored value, against the
  // records' own texts.
  void expectTimeRanges(const std::string& dir) {
    test::Values times;
    for (const TruthFrame* frame : m_records) times.push_back(frame->time);
    RangeIndexReader reader((dir + "time.range").c_str());
    std::mt19937 random(7);
    for (int i = 0; i < 40; ++i) {
      std::string from = times[random() % times.size()] + std::string(i % 3 == 0, '\0');
      std::string to = times[random() % times.size()];
      if (from > to) std::swap(from, to);
      EXPECT_EQ(test::bitsOrNone(reader.searchRange(from, to), times.size()), test::rangeBits(times, from, to))
          << from << " to " << to;
    }
  }

  test::LogDir m_log{5, 6, 48u << 10};
  qvloggen::Truth m_truth = qvloggen::readTruth(m_log.summary.truthPath);
  std::vector<const TruthFrame*> m_records;
};

TEST_F(RunTest, OnePassAndOnePassPerBlockGiveTheTruth) {
  const uint64_t end = m_log.summary.bytes;
  ASSERT_TRUE(std::any_of(m_truth.frames.begin(), m_truth.frames.end(),
                          [](const TruthFrame& frame) { return frameLayout(frame.type) == nullptr; }))
      << "the log must mix frames without a record into its blocks";
  const std::string one = m_log.index("one", 0, end);
  expectTruth(one);
  const std::string many = m_log.index("many", 0, end, "0");
  expectTruth(many);
  for (const auto& entry : std::filesystem::directory_iterator("many")) {
    EXPECT_FALSE(entry.is_directory()) << "pass directory left: " << entry.path();
  }
  for (uint32_t id = 0; id < m_log.fields->fieldCount(); ++id) {
    const std::string name = m_log.fields->fieldName(id);
    EXPECT_EQ(m_log.terms(one, name), m_log.terms(many, name)) << name;
  }
}

TEST_F(RunTest, MergeRunJoinsSlicesAndLeavesEmptyInputsOut) {
  std::vector<std::string> dirs;
  // Two blocks per slice: a block that spans `end` is taken whole.
  for (size_t b = 0; b < m_truth.blocks.size(); b += 2) {
    const auto& blocks = m_truth.blocks;
    dirs.push_back(m_log.index("slice" + std::to_string(b), blocks[b].offset, blocks[b + 1].offset + 1));
  }
  dirs.insert(dirs.begin() + 1, m_log.index("empty", m_log.summary.bytes, m_log.summary.bytes + 1));
  std::filesystem::create_directory("merged");
  std::string input = "[In]\ncount=" + std::to_string(dirs.size()) + "\n";
  for (size_t i = 0; i < dirs.size(); ++i) input += "i" + std::to_string(i) + "=" + dirs[i] + "\n";
  writeFile("merge.ini", input + "[Out]\npath=merged/\n");
  IndexMerger(*m_log.fields, 1, 1).mergeFile("merge.ini");
  expectTruth("merged/");

  const std::pair<const char*, const char*> bad[] = {{"[In]\ncount=0\n", "[In] count:0 is invalid"},
                                                     {"[In]\ncount=201\n", "[In] count:201 is invalid"},
                                                     {"[In]\ncount=2\ni0=one/\n", "i1->path empty"}};
  for (const auto& [ini, message] : bad) {
    writeFile("bad.ini", ini);
    EXPECT_THAT(test::failureText([&] { IndexMerger(*m_log.fields, 1, 1).mergeFile("bad.ini"); }),
                ::testing::HasSubstr(message));
  }
}

// A run stopped by a failing file operation leaves a directory the reader
// refuses; the same run on the cleaned directory gives the full result.
TEST_F(RunTest, InterruptedRunIsRefusedAndRerunSucceeds) {
  int interrupted = 0;
  for (uint64_t nth : {3u, 40u, 200u}) {
    std::filesystem::remove_all("cut");
    platform::faults::arm(nth, platform::faults::Effect::Fail, platform::faults::kAllOps);
    const std::string failure = test::failureText([&] { m_log.index("cut", 0, m_log.summary.bytes, "0"); });
    platform::faults::disarm();
    if (failure == "no failure") continue;
    ++interrupted;
    EXPECT_ANY_THROW(IndexReader("cut/", *m_log.fields).loadSummary()) << nth;
    std::filesystem::remove_all("cut");
    expectTruth(m_log.index("cut", 0, m_log.summary.bytes, "0"));
  }
  EXPECT_GT(interrupted, 0);
}

}  // namespace
}  // namespace quern
