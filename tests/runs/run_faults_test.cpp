// Runs stopped by a failing file operation, at every operation in turn: a
// merge of many inputs and an index run of several passes must end with a
// failure text, destroy what they made once, and leave nothing that stops
// the same run from giving the reference result afterwards. The sanitizer
// build runs these to catch objects touched after their destruction.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "index/indexmerger.h"
#include "platform/faults.h"
#include "platform/platform.h"
#include "storage/closingblock.h"
#include "support/logdir.h"

namespace quern {
namespace {

namespace fs = std::filesystem;
namespace faults = platform::faults;
using test::readFile;

// Each file of an index directory without its closing block, which holds
// the write time and the path.
std::map<std::string, std::string> bodies(const std::string& dir) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::directory_iterator(dir)) {
    if (entry.is_directory()) continue;
    std::string bytes = readFile(entry.path().string());
    const bool closed = entry.path().filename() != "index.desc";
    if (closed && bytes.size() >= closing::kSize) bytes.resize(bytes.size() - closing::kSize);
    files[entry.path().filename().string()] = bytes;
  }
  return files;
}

// One kind of file operation per test, so that each sweep stays short.
struct OpKind {
  faults::Op op;
  const char* name;
};
const OpKind kOpKinds[] = {{faults::Op::Open, "Open"},   {faults::Op::Read, "Read"},   {faults::Op::Seek, "Seek"},
                           {faults::Op::Write, "Write"}, {faults::Op::Flush, "Flush"}, {faults::Op::Sync, "Sync"},
                           {faults::Op::Close, "Close"}, {faults::Op::Rename, "Rename"}, {faults::Op::Remove, "Remove"}};
void PrintTo(const OpKind& kind, std::ostream* out) { *out << kind.name; }

class RunFaultsTest : public ::testing::Test {
 protected:
  RunFaultsTest() { faults::skipDiskSync(true); }
  ~RunFaultsTest() override {
    faults::disarm();
    faults::skipDiskSync(false);
  }

  test::LogDir m_log{11, 2, 4u << 10};
};

class RunFaultsSweep : public RunFaultsTest, public ::testing::WithParamInterface<OpKind> {
 protected:
  // Runs `run` into a fresh "cut" once with no fault to count its operations
  // of the kind, then once failing at each of them; every failing run must
  // raise. Then the run must give the same files as `reference`.
  template <typename Run>
  void sweep(Run&& run, const std::string& reference) {
    const auto mask = static_cast<unsigned>(GetParam().op);
    fs::remove_all("cut");
    faults::arm(UINT64_MAX, faults::Effect::Fail, mask);
    run("cut");
    const uint64_t total = faults::seen();
    faults::disarm();
    for (uint64_t nth = 1; nth <= total; ++nth) {
      fs::remove_all("cut");
      faults::arm(nth, faults::Effect::Fail, mask);
      const std::string failure = test::failureText([&] { run("cut"); });
      // Cached settings can spare a later run an operation of the first.
      const bool fired = faults::seen() == nth;
      faults::disarm();
      if (fired) {
        EXPECT_NE(failure, "no failure") << GetParam().name << " " << nth << " of " << total;
      }
    }
    fs::remove_all("cut");
    run("cut");
    EXPECT_EQ(bodies("cut"), bodies(reference));
  }
};

TEST_P(RunFaultsSweep, MergeOfManyInputsFailsCleanlyAtEveryOperation) {
  // The first block alone: every operation is swept, so few terms.
  const std::string source = m_log.index("source", 0, m_log.summary.blocks[1].offset);
  const std::vector<std::string> inputs(3, source);
  const auto merge = [&](const std::string& dir) {
    fs::create_directories(dir);
    IndexMerger(*m_log.fields, 1, 1).Merge(inputs, dir + "/");
  };
  merge("reference");
  sweep(merge, "reference");
}

TEST_P(RunFaultsSweep, IndexRunOfSeveralPassesFailsCleanlyAtEveryOperation) {
  const auto index = [&](const std::string& dir) { m_log.index(dir, 0, m_log.summary.bytes, "0"); };
  index("reference");
  sweep(index, "reference");
}

INSTANTIATE_TEST_SUITE_P(EveryKind, RunFaultsSweep, ::testing::ValuesIn(kOpKinds),
                         [](const ::testing::TestParamInfo<OpKind>& info) { return std::string(info.param.name); });

// A host that already holds many files: opens fail part-way through a merge
// of 40 inputs, wherever the limit lies. The same merge first runs whole:
// it must succeed, and it lets the undefined-behaviour sanitizer meet every
// type first. Its dynamic type check tests memory through a pipe, and
// without a descriptor to spare it reports any object it has not yet met as
// one with an invalid vptr.
TEST_F(RunFaultsTest, MergeUnderALoweredOpenFileLimitEndsWithTheOpensText) {
  const std::string source = m_log.index("source", 0, m_log.summary.bytes);
  const std::vector<std::string> inputs(40, source);
  const auto merge = [&] {
    fs::remove_all("merged");
    fs::create_directories("merged");
    IndexMerger(*m_log.fields, 1, 1).Merge(inputs, "merged/");
  };
  merge();
  if (!platform::setOpenFileLimit(64)) GTEST_SKIP() << "the open-file limit cannot be lowered here";
  for (int limit = 4; limit <= 62; ++limit) {
    ASSERT_TRUE(platform::setOpenFileLimit(limit));
    const std::string failure = test::failureText(merge);
    ASSERT_TRUE(platform::setOpenFileLimit(1024));
    EXPECT_THAT(failure, ::testing::AnyOf(::testing::HasSubstr("open file"), ::testing::HasSubstr("load index summary failed")))
        << "limit " << limit;
  }
}

}  // namespace
}  // namespace quern
