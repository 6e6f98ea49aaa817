#include "frame/filewalker.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/platform.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::writeFile;

struct Seen {
  std::set<std::string> files;
  std::set<std::string> directories;
  size_t stopAfter = 0;  // 0: never stop
};

int record(const char* path, int flag, void* argument) {
  Seen& seen = *static_cast<Seen*>(argument);
  (flag == FileWalker::kDirectory ? seen.directories : seen.files).insert(path);
  return seen.stopAfter != 0 && seen.files.size() >= seen.stopAfter ? 0 : 1;
}

class FileWalkerTest : public ::testing::Test {
 protected:
  FileWalkerTest() {
    writeFile(m_dir.file("a"), "1");
    platform::makeDirectory(m_dir.file("sub").c_str());
    writeFile(m_dir.file("sub/b"), "2");
  }
  test::TempDir m_dir;
  std::string m_root = m_dir.path() + "/";
};

TEST_F(FileWalkerTest, DescendAndNotifyChooseWhatIsReportedAndTheCallbackStops) {
  Seen flat;
  FileWalker shallow(record, false, false);
  ASSERT_EQ(shallow.Walk(m_dir.path().c_str(), &flat), 1);
  EXPECT_EQ(flat.files, std::set<std::string>{m_root + "a"});
  EXPECT_TRUE(flat.directories.empty());

  Seen deep;
  FileWalker full(record, true, true);
  ASSERT_EQ(full.Walk(m_root.c_str(), &deep), 1);
  EXPECT_EQ(deep.files, (std::set<std::string>{m_root + "a", m_root + "sub/b"}));
  EXPECT_EQ(deep.directories, (std::set<std::string>{m_root, m_root + "sub/"}));
  EXPECT_TRUE(full.lastError().empty());

  Seen stopped;
  stopped.stopAfter = 1;
  EXPECT_EQ(full.Walk(m_root.c_str(), &stopped), 0) << "the callback stops the walk";
  EXPECT_EQ(stopped.files.size(), 1u);
  EXPECT_TRUE(full.lastError().empty());
}

TEST_F(FileWalkerTest, FailuresAreToldNotOverrun) {
  Seen seen;
  FileWalker walker(record, true, false);
  EXPECT_EQ(walker.Walk(m_dir.file("missing").c_str(), &seen), 0);
  EXPECT_EQ(walker.lastError().rfind("failed to opendir: " + m_dir.file("missing") + "/ (", 0), 0u)
      << walker.lastError();

  const std::string tooLong(FileWalker::kMaxPath, 'x');
  EXPECT_EQ(walker.Walk(tooLong.c_str(), &seen), 0);
  EXPECT_EQ(walker.lastError().rfind("file name too long: ", 0), 0u);

  // An entry whose full path reaches the limit is refused by name.
  const std::string name(FileWalker::kMaxPath - m_root.size(), 'n');
  writeFile(m_root + name, "");
  EXPECT_EQ(walker.Walk(m_root.c_str(), &seen), 0);
  EXPECT_EQ(walker.lastError(), "file name too long: " + name);
  EXPECT_TRUE(seen.files.count(m_root + name) == 0);
}

}  // namespace
}  // namespace quern
