// A fresh suspend_flag in the current directory pauses a merge at its test
// points, and the paused merge writes the same bytes as one left alone. The
// watcher's timing is shortened to milliseconds; the pauses are seen in the
// trace log, not measured. Every field is e1 here until the range and
// full-text kinds exist.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "config/config.h"
#include "frame/indexrun.h"
#include "index/indexmerger.h"
#include "platform/platform.h"
#include "qvloggen.h"
#include "storage/closingblock.h"
#include "support/tempdir.h"
#include "tracegate.h"

namespace quern {
namespace {

namespace fs = std::filesystem;
using test::readFile;
using test::writeFile;

size_t countOf(const std::string& text, const std::string& word) {
  size_t count = 0;
  for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++count;
  return count;
}

class MergeSuspendTest : public ::testing::Test {
 protected:
  MergeSuspendTest() : m_home(fs::current_path()), m_tracePath(trace_get_path()) {
    qvloggen::Options options;
    options.seed = 11;
    options.blocks = 4;
    options.maxBlock = 32u << 10;
    m_summary = qvloggen::generate(options, m_dir.path());
    fs::current_path(m_dir.path());
    writeFile("config.ini", qvloggen::configIni(true));
    m_config = std::make_unique<GlobalConfig>("config.ini");
    m_fields = std::make_unique<FieldsInfo>(*m_config);
    const uint64_t middle = m_summary.blocks[2].offset;
    m_inputs = {index("a", 0, middle), index("b", middle, m_summary.bytes)};
  }
  ~MergeSuspendTest() override {
    trace_set_path(m_tracePath.c_str(), -1);
    fs::current_path(m_home);
  }

  std::string index(const std::string& dir, uint64_t begin, uint64_t end) {
    fs::create_directory(dir);
    writeFile(dir + ".run", "[In]\npath=" + m_summary.logPath + "\nbegin=" + std::to_string(begin) +
                                "\nend=" + std::to_string(end) + "\n[Out]\ndir=" + dir +
                                "\n[Global]\nmaxIndexMemory=4000000000\ncacheValueSize=64\n");
    RunIndex((dir + ".run").c_str(), *m_fields);
    return dir + "/";
  }

  // Merges the two inputs into `dir` with the trace going to `trace`; the
  // trace's text.
  std::string merge(const std::string& dir) {
    fs::create_directory(dir);
    trace_set_path((dir + ".trace").c_str(), -1);
    IndexMerger(*m_fields, 1, 1).Merge(m_inputs, dir + "/");
    trace_set_path(nullptr, 0);
    return readFile(dir + ".trace");
  }

  // Same bytes up to the closing blocks, which hold each file's own path
  // and time.
  void expectSameFiles(const std::string& left, const std::string& right) {
    size_t files = 0;
    for (const auto& entry : fs::directory_iterator(left)) {
      const std::string name = entry.path().filename().string();
      std::string a = readFile(left + "/" + name);
      std::string b = readFile(right + "/" + name);
      ASSERT_EQ(a.size(), b.size()) << name;
      if (name != "index.desc") {
        ASSERT_GE(a.size(), closing::kSize) << name;
        a.resize(a.size() - closing::kSize);
        b.resize(b.size() - closing::kSize);
      }
      EXPECT_TRUE(a == b) << name;
      ++files;
    }
    EXPECT_EQ(files, m_fields->fieldCount() + 2) << "field files, store and index.desc";
  }

  test::TempDir m_dir;
  fs::path m_home;
  std::string m_tracePath;
  qvloggen::Summary m_summary;
  std::unique_ptr<GlobalConfig> m_config;
  std::unique_ptr<FieldsInfo> m_fields;
  std::vector<std::string> m_inputs;
};

TEST_F(MergeSuspendTest, FreshFlagPausesAndOldFlagDoesNot) {
  const std::string pause = "suspend 0 seconds";
  EXPECT_EQ(countOf(merge("plain"), pause), 0u) << "no flag, no pause";

  writeFile("suspend_flag", "");
  // Pauses at the term test points; there are far more of them than the one
  // the watcher's first look could come too late for.
  EXPECT_GT(countOf(merge("paused"), pause), 1u);
  expectSameFiles("plain", "paused");

  ASSERT_TRUE(platform::setModificationTime("suspend_flag", platform::currentTime() - 121));
  EXPECT_EQ(countOf(merge("stale"), pause), 0u) << "a flag older than 120 seconds";
  expectSameFiles("plain", "stale");
}

}  // namespace
}  // namespace quern
