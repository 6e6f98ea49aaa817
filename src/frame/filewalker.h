// One walk over a directory tree. Files are reported as they are met, a
// directory (when asked) after its content, so that a callback may delete
// what it is given. Paths are bounded as on the appliance's system: a path of
// kMaxPath bytes or more is refused, never cut.
#pragma once

#include <cstdint>
#include <string>

namespace quern {

class FileWalker {
 public:
  static constexpr size_t kMaxPath = 260;
  enum Flag : int { kFile = 0, kDirectory = 1 };
  // A result of 0 stops the walk.
  using Callback = int (*)(const char* path, int flag, void* argument);

  FileWalker(Callback callback, bool descend, bool notifyDirectories);
  virtual ~FileWalker() = default;
  FileWalker(const FileWalker&) = delete;
  FileWalker& operator=(const FileWalker&) = delete;

  // 1 on success; 0 when the walk failed (`lastError` says why, unless the
  // callback stopped it).
  int Walk(const char* path, void* argument);
  const std::string& lastError() const { return m_lastError; }

 private:
  int walkDirectory(void* argument);

  Callback m_callback;
  bool m_descend;
  bool m_notifyDirectories;
  std::string m_path;  // the path at hand, always below kMaxPath bytes
  std::string m_lastError;
};

// True when `c` separates path parts on this system.
bool isPathSeparator(char c);

}  // namespace quern
