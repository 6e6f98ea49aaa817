#include "frame/directories.h"

#include "base/exception.h"
#include "frame/filewalker.h"
#include "platform/platform.h"

namespace quern {

namespace {

std::string withSeparator(std::string path) {
  if (!isPathSeparator(path.back())) path += '/';
  return path;
}

int moveOne(const char* path, int, void* argument) {
  const std::string source(path);
  const size_t cut = source.find_last_of(platform::pathSeparators());
  const std::string target = *static_cast<const std::string*>(argument) + source.substr(cut + 1);
  return platform::renameReplace(path, target.c_str()) ? 1 : 0;
}

int removeOne(const char* path, int flag, void*) {
  const bool done = flag == FileWalker::kDirectory ? platform::removeDirectory(path) : platform::removeFile(path);
  return done ? 1 : 0;
}

bool directoryExists(const std::string& path) {
  bool directory = false;
  return platform::isDirectory(path.c_str(), directory) && directory;
}

}  // namespace

void MoveFiles(const std::string& source, const std::string& target) {
  if (source.empty() || target.empty()) {
    QRN_RAISE(2, "invalid directory %s, %s", source.c_str(), target.c_str());
  }
  const std::string from = withSeparator(source);
  std::string to = withSeparator(target);
  FileWalker walker(moveOne, false, false);
  if (walker.Walk(from.c_str(), &to) == 0) {
    QRN_RAISE(2, "move files %s to %s fail, last error: %s", from.c_str(), to.c_str(), walker.lastError().c_str());
  }
}

void RemoveDirectory(const std::string& dir) {
  if (dir.empty()) QRN_RAISE(2, "invalid directory %s", dir.c_str());
  const std::string path = withSeparator(dir);
  FileWalker walker(removeOne, true, true);
  if (walker.Walk(path.c_str(), nullptr) == 0) {
    QRN_RAISE(2, "remove directory %s fail, last error: %s", path.c_str(), walker.lastError().c_str());
  }
}

int MakeDirectories(const std::string& path) {
  if (path.empty()) return 0;
  const std::string full = withSeparator(path);
  for (size_t i = 0; i < full.size(); ++i) {
    // The empty text before a leading separator is the root, not a directory to make.
    if (!isPathSeparator(full[i]) || i == 0) continue;
    const std::string part = full.substr(0, i);
    if (!directoryExists(part) && !platform::makeDirectory(part.c_str()) && !directoryExists(part)) return 0;
  }
  return directoryExists(full) ? 1 : 0;
}

}  // namespace quern
