// A fresh suspend_flag in the current directory pauses a merge at its test
// points, and the paused merge writes the same bytes as one left alone. The
// watcher's timing is shortened to milliseconds; the pauses are seen in the
// trace log, not measured.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "index/indexmerger.h"
#include "storage/closingblock.h"
#include "support/logdir.h"
#include "tracegate.h"

namespace quern {
namespace {

namespace fs = std::filesystem;
using test::readFile;

size_t countOf(const std::string& text, const std::string& word) {
  size_t count = 0;
  for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++count;
  return count;
}

class MergeSuspendTest : public ::testing::Test {
 protected:
  ~MergeSuspendTest() override { trace_set_path(m_tracePath.c_str(), -1); }

  // Merges the two inputs into `dir`; the trace it wrote.
  std::string merge(const std::string& dir) {
    fs::create_directory(dir);
    trace_set_path((dir + ".trace").c_str(), -1);
    IndexMerger(*m_log.fields, 1, 1).Merge(m_inputs, dir + "/");
    trace_set_path(nullptr, 0);
    return readFile(dir + ".trace");
  }

  // Same bytes up to the closing blocks, which hold each file's own path
  // and time.
  void expectSameFiles(const std::string& left, const std::string& right) {
    size_t files = 0;
    for (const auto& entry : fs::directory_iterator(left)) {
      const std::string name = entry.path().filename().string();
      std::string a = readFile(left + "/" + name), b = readFile(right + "/" + name);
      ASSERT_EQ(a.size(), b.size()) << name;
      if (name != "index.desc") {
        ASSERT_GE(a.size(), closing::kSize) << name;
        a.resize(a.size() - closing::kSize);
        b.resize(b.size() - closing::kSize);
      }
      EXPECT_TRUE(a == b) << name;
      ++files;
    }
    EXPECT_EQ(files, m_log.fields->fieldCount() + 2) << "field files, store and index.desc";
  }

  std::string m_tracePath = trace_get_path();
  test::LogDir m_log{11, 4, 32u << 10};
  const uint64_t m_middle = m_log.summary.blocks[2].offset;
  std::vector<std::string> m_inputs = {m_log.index("a", 0, m_middle), m_log.index("b", m_middle, m_log.summary.bytes)};
};

TEST_F(MergeSuspendTest, FreshFlagPausesAndChangesNoByte) {
  const std::string pause = "suspend 0 seconds";
  EXPECT_EQ(countOf(merge("plain"), pause), 0u) << "no flag, no pause";

  test::writeFile("suspend_flag", "");
  // Pauses at the term test points; there are far more of them than the one
  // the watcher's first look could come too late for.
  EXPECT_GT(countOf(merge("paused"), pause), 1u);
  expectSameFiles("plain", "paused");
}

}  // namespace
}  // namespace quern
