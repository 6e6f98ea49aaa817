#include "frame/filewalker.h"

#include <cstring>
#include <vector>

#include "base/exception.h"
#include "platform/platform.h"

namespace quern {

bool isPathSeparator(char c) { return c != '\0' && std::strchr(platform::pathSeparators(), c) != nullptr; }

FileWalker::FileWalker(Callback callback, bool descend, bool notifyDirectories)
    : m_callback(callback), m_descend(descend), m_notifyDirectories(notifyDirectories) {}

int FileWalker::Walk(const char* path, void* argument) {
  m_lastError.clear();
  m_path = path == nullptr ? "" : path;
  if (m_path.empty() || !isPathSeparator(m_path.back())) m_path += '/';
  if (m_path.size() >= kMaxPath) {
    m_lastError = formatText("file name too long: %s", m_path.c_str());
    return 0;
  }
  return walkDirectory(argument);
}

int FileWalker::walkDirectory(void* argument) {
  std::vector<std::string> names;
  if (!platform::listDirectory(m_path.c_str(), names)) {
    const int err = platform::lastErrno();
    m_lastError = formatText("failed to opendir: %s (%s)", m_path.c_str(), platform::errorText(err).c_str());
    return 0;
  }
  const size_t base = m_path.size();
  for (const std::string& name : names) {
    if (base + name.size() >= kMaxPath) {
      m_lastError = formatText("file name too long: %s", name.c_str());
      return 0;
    }
    m_path.resize(base);
    m_path += name;
    bool directory = false;
    if (!platform::isPlainDirectory(m_path.c_str(), directory)) {
      const int err = platform::lastErrno();
      m_lastError =
          formatText("failed to get file attribute: %s (%s)", m_path.c_str(), platform::errorText(err).c_str());
      return 0;
    }
    if (directory) {
      if (!m_descend) continue;
      // The separator must fit as well, or the walk below would overrun.
      if (m_path.size() + 1 >= kMaxPath) {
        m_lastError = formatText("file name too long: %s", name.c_str());
        return 0;
      }
      m_path += '/';
      if (walkDirectory(argument) == 0) return 0;
    } else if (m_callback(m_path.c_str(), kFile, argument) == 0) {
      return 0;
    }
  }
  m_path.resize(base);
  const bool driveRoot = m_path.size() == 3 && m_path[1] == ':';
  if (m_notifyDirectories && !driveRoot && m_callback(m_path.c_str(), kDirectory, argument) == 0) return 0;
  return 1;
}

}  // namespace quern
