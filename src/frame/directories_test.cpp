#include "frame/directories.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/platform.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using ::testing::HasSubstr;
using test::failureText;
using test::readFile;
using test::TempDir;
using test::writeFile;

bool isDir(const std::string& path) {
  bool directory = false;
  return platform::isDirectory(path.c_str(), directory) && directory;
}

TEST(Directories, MakeDirectoriesCreatesEveryMissingLevel) {
  TempDir dir;
  EXPECT_EQ(MakeDirectories(""), 0);
  EXPECT_EQ(MakeDirectories(dir.file("a/b//c")), 1) << "an absolute path with a doubled separator";
  EXPECT_TRUE(isDir(dir.file("a/b/c")));
  EXPECT_EQ(MakeDirectories(dir.file("a/b/c/")), 1) << "an existing directory is success";
  writeFile(dir.file("file"), "");
  EXPECT_EQ(MakeDirectories(dir.file("file/d")), 0) << "a file in the way";
}

TEST(Directories, MoveFilesTakesPlainFilesAndReplaces) {
  TempDir dir;
  MakeDirectories(dir.file("src/keep"));
  MakeDirectories(dir.file("dst"));
  writeFile(dir.file("src/x.e1"), "new");
  writeFile(dir.file("src/keep/y"), "stays");
  writeFile(dir.file("dst/x.e1"), "old");
  MoveFiles(dir.file("src"), dir.file("dst"));
  EXPECT_EQ(readFile(dir.file("dst/x.e1")), "new");
  EXPECT_FALSE(platform::fileExists(dir.file("src/x.e1").c_str()));
  EXPECT_EQ(readFile(dir.file("src/keep/y")), "stays") << "subdirectories are not moved";

  EXPECT_THAT(failureText([] { MoveFiles("", "x"); }), HasSubstr(",invalid directory , x"));
  EXPECT_THAT(failureText([&] { MoveFiles(dir.file("none"), dir.file("dst")); }),
              HasSubstr("move files " + dir.file("none") + "/ to " + dir.file("dst") +
                        "/ fail, last error: failed to opendir: "));
}

TEST(Directories, RemoveDirectoryTakesTheWholeTree) {
  TempDir dir;
  MakeDirectories(dir.file("r/s/t"));
  writeFile(dir.file("r/f"), "");
  writeFile(dir.file("r/s/t/g"), "");
  // A link inside the tree goes, what it points at stays.
  MakeDirectories(dir.file("outside"));
  writeFile(dir.file("outside/keep"), "");
  std::error_code linked;
  std::filesystem::create_directory_symlink(dir.file("outside"), dir.file("r/s/link"), linked);
  RemoveDirectory(dir.file("r"));
  EXPECT_FALSE(platform::fileExists(dir.file("r").c_str()));
  EXPECT_TRUE(isDir(dir.path()));
  EXPECT_TRUE(platform::fileExists(dir.file("outside/keep").c_str())) << linked.message();

  MakeDirectories(dir.file("long"));
  const std::string name(260 - dir.file("long/").size(), 'n');
  writeFile(dir.file("long/" + name), "");
  EXPECT_THAT(failureText([&] { RemoveDirectory(dir.file("long")); }),
              HasSubstr("remove directory " + dir.file("long/") +
                        " fail, last error: file name too long: " + name));
  EXPECT_THAT(failureText([] { RemoveDirectory(""); }), HasSubstr(",invalid directory "));
}

}  // namespace
}  // namespace quern
