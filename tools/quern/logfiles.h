// From a locator to its frame. The library hands out "log:offset:ordinal":
// the number that the log file's name opens with (0 for a name without
// digits), the low 32 bits of its block's offset and the frame's ordinal
// among the record-carrying frames of the block. The host keeps the way
// back from the number to the file; the command line looks for it in one
// place, named by --logs.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace quern::cli {

struct Locator {
  uint32_t log = 0;
  uint32_t offset = 0;
  uint32_t ordinal = 0;
};

// Three decimal numbers separated by ":", nothing else.
std::optional<Locator> parseLocator(const std::string& text);

// The number the library reads from a log file's name: its leading digits.
uint32_t logNumber(const std::string& fileName);

class LogFiles {
 public:
  // `where` is a directory, whose files named *.qvlog are the logs, or one
  // log file that serves every number. Throws std::runtime_error when it is
  // neither.
  explicit LogFiles(const std::string& where);

  // The log of a number; throws std::runtime_error when the directory holds
  // none or more than one log of that number.
  const std::string& path(uint32_t number) const;

 private:
  std::string m_where;
  std::string m_single;
  std::multimap<uint32_t, std::string> m_logs;
};

}  // namespace quern::cli
