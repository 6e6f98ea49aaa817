// Runs stopped by a failing file operation, at every operation in turn: a
// merge of many inputs and an index run of several passes must end with a
// failure text, destroy what they made once, and leave nothing that stops
// the same run from giving the reference result afterwards. The sanitizer
// build runs these to catch objects touched after their destruction.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <map>
#include <string>
#include <vector>

#include "index/indexmerger.h"
#include "quern.h"
#include "platform/faults.h"
#include "platform/platform.h"
#include "storage/closingblock.h"
#include "support/logdir.h"

namespace quern {
namespace {

namespace fs = std::filesystem;
#if defined(QUERN_SANITIZED)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
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
  // `run` gives what the test compares afterwards with `reference`.
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
    EXPECT_EQ(run("cut"), reference);
  }
};

// The files of an index directory without their closing blocks, as one text.
std::string directoryText(const std::string& dir) {
  std::string text;
  for (const auto& [name, body] : bodies(dir)) text += name + "\n" + body + "\n";
  return text;
}

TEST_P(RunFaultsSweep, MergeOfManyInputsFailsCleanlyAtEveryOperation) {
  // The first block alone: every operation is swept, so few terms.
  const std::string source = m_log.index("source", 0, m_log.summary.blocks[1].offset);
  const std::vector<std::string> inputs(3, source);
  const auto merge = [&](const std::string& dir) {
    fs::create_directories(dir);
    IndexMerger(*m_log.fields, 1, 1).Merge(inputs, dir + "/");
    return directoryText(dir);
  };
  sweep(merge, merge("reference"));
}

TEST_P(RunFaultsSweep, IndexRunOfSeveralPassesFailsCleanlyAtEveryOperation) {
  const auto index = [&](const std::string& dir) {
    m_log.index(dir, 0, m_log.summary.bytes, "0");
    return directoryText(dir);
  };
  sweep(index, index("reference"));
}

// A query through the exports on a fresh searcher, then every row it keeps
// with both texts: a failed operation anywhere is a -1 or a null.
TEST_P(RunFaultsSweep, QueryAndItsRowsFailCleanlyAtEveryOperation) {
  const std::string dir = m_log.index("source", 0, m_log.summary.bytes);
  test::writeFile("query.ini", "[filter]\ncancel=query.cancel\nlimit=3\ntime=0-9\n");
  const auto ask = [&](const std::string&) {
    qrn_searcher_clear();
    const int count = qrn_indexer_query(dir.c_str(), "query.ini");
    if (count < 0) throw std::runtime_error(qrn_indexer_error());
    std::string answer = std::to_string(count);
    for (unsigned i = 0;; ++i) {
      const char* locator = qrn_indexer_row(dir.c_str(), i);
      if (locator == nullptr) break;
      unsigned log = 0, offset = 0, ordinal = 0;
      if (std::sscanf(locator, "%u:%u:%u", &log, &offset, &ordinal) != 3) throw std::runtime_error(locator);
      const char* result = qrn_indexer_row_result(m_log.summary.logPath.c_str(), offset, static_cast<int>(ordinal));
      if (result == nullptr) throw std::runtime_error(qrn_indexer_error());
      answer += std::string("\n") + locator + "\n" + result;
      const char* exported = qrn_indexer_row_export(m_log.summary.logPath.c_str(), offset, static_cast<int>(ordinal));
      if (exported == nullptr) throw std::runtime_error(qrn_indexer_error());
      answer += std::string("\n") + exported;
    }
    return answer;
  };
  const std::string reference = ask("");
  ASSERT_NE(reference.find('\n'), std::string::npos) << "the query must keep rows";
  sweep(ask, reference);
}

INSTANTIATE_TEST_SUITE_P(EveryKind, RunFaultsSweep, ::testing::ValuesIn(kOpKinds),
                         [](const ::testing::TestParamInfo<OpKind>& info) { return std::string(info.param.name); });

// A host that already holds many files: opens fail part-way through a merge
// of 40 inputs, wherever the limit lies. The same merge first runs whole.
TEST_F(RunFaultsTest, MergeUnderALoweredOpenFileLimitEndsWithTheOpensText) {
  const std::string source = m_log.index("source", 0, m_log.summary.bytes);
  const std::vector<std::string> inputs(40, source);
  const auto merge = [&] {
    fs::remove_all("merged");
    fs::create_directories("merged");
    IndexMerger(*m_log.fields, 1, 1).Merge(inputs, "merged/");
  };
  merge();
  // The undefined-behaviour sanitizer's dynamic type check tests memory
  // through a pipe of its own; without a descriptor to spare it reports
  // sound objects as having an invalid vptr. The sweeps above cover the
  // same failed opens under the sanitizers through the fault hook.
  if (kSanitized) GTEST_SKIP() << "the sanitizer needs descriptors of its own at a lowered limit";
  if (!platform::setOpenFileLimit(64)) GTEST_SKIP() << "the open-file limit cannot be lowered here";
  for (int limit = 4; limit <= 62; ++limit) {
    // Windows keeps at least 20 streams open to a process.
    if (!platform::setOpenFileLimit(limit)) continue;
    const std::string failure = test::failureText(merge);
    ASSERT_TRUE(platform::setOpenFileLimit(1024));
    EXPECT_THAT(failure, ::testing::AnyOf(::testing::HasSubstr("open file"), ::testing::HasSubstr("load index summary failed")))
        << "limit " << limit;
  }
}

}  // namespace
}  // namespace quern
