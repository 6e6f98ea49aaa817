#include "config/ini.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/platform.h"

namespace quern {

namespace {

// Names agree when their first 64 lowered characters do.
constexpr size_t kFoldLength = 64;
// As a line buffer of 65,535 bytes: longer lines arrive in pieces.
constexpr size_t kMaxPiece = 65534;

struct Folded {
  char bytes[kFoldLength];
  uint32_t length;
};

Folded fold(std::string_view name) {
  Folded folded;
  folded.length = static_cast<uint32_t>(std::min(name.size(), kFoldLength));
  for (uint32_t i = 0; i < folded.length; ++i) {
    const char c = name[i];
    folded.bytes[i] = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return folded;
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

// A header's name ends at the first "]" that a line end follows; without one
// it runs to the end of the piece, line end included.
std::string_view headerName(std::string_view text) {
  for (size_t i = 0; i + 1 < text.size(); ++i) {
    if (text[i] == ']' && (text[i + 1] == '\r' || text[i + 1] == '\n')) return text.substr(0, i);
  }
  return text;
}

uint32_t modificationStamp(const char* path) {
  int64_t seconds = 0;
  return platform::modificationTime(path, seconds) ? static_cast<uint32_t>(seconds) : 0;
}

// Copies at most size - 1 characters and terminates.
const char* copyBounded(char* buffer, int32_t size, const char* text) {
  const size_t length = std::min(std::strlen(text), static_cast<size_t>(size) - 1);
  std::memcpy(buffer, text, length);
  buffer[length] = '\0';
  return buffer;
}

// A NUL-terminated copy in the arena, or null.
const char* copyText(IniArena& arena, std::string_view text) {
  char* copy = static_cast<char*>(arena.allocate(text.size() + 1));
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

// Splits a file into the pieces a line-based reader sees.
class LineReader {
 public:
  explicit LineReader(platform::File& file) : m_file(file), m_buffer(1 << 16) {}

  // The next piece: up to and including a newline, at most kMaxPiece characters.
  // False at the end of the file or on a read error.
  bool next(std::string& piece) {
    piece.clear();
    while (piece.size() < kMaxPiece) {
      if (m_position == m_end && !refill()) break;
      const char* start = m_buffer.data() + m_position;
      const size_t window = std::min(m_end - m_position, kMaxPiece - piece.size());
      const char* newline = static_cast<const char*>(std::memchr(start, '\n', window));
      const size_t take = newline != nullptr ? static_cast<size_t>(newline - start) + 1 : window;
      piece.append(start, take);
      m_position += take;
      if (newline != nullptr) return true;
    }
    return !piece.empty();
  }

 private:
  bool refill() {
    m_position = 0;
    m_end = m_file.read(m_buffer.data(), m_buffer.size());
    return m_end > 0;
  }

  platform::File& m_file;
  std::vector<char> m_buffer;
  size_t m_position = 0;
  size_t m_end = 0;
};

}  // namespace

IniValue* IniValue::make(IniArena& arena, std::string_view key, std::string_view value) {
  const size_t lineLength = key.size() + 3 + value.size();
  void* memory = arena.allocate(sizeof(IniValue) + lineLength + 1);
  if (memory == nullptr) return nullptr;
  IniValue* object = new (memory) IniValue(key.size() + 3);
  char* line = reinterpret_cast<char*>(object + 1);
  std::memcpy(line, key.data(), key.size());
  std::memcpy(line + key.size(), " = ", 3);
  std::memcpy(line + key.size() + 3, value.data(), value.size());
  line[lineLength] = '\0';
  return object;
}

int32_t IniFile::Load(const char* path) {
  if (path == nullptr) return -1;
  if (m_modified != 0 && std::strncmp(path, m_path.c_str(), 255) == 0 && modificationStamp(path) == m_modified) {
    return 0;
  }
  Clear();
  m_headComment.clear();
  m_modified = 0;
  m_dirty = false;
  m_path.assign(path, strnlen(path, 254));
  std::unique_ptr<platform::File> file = platform::File::open(path, "r");
  if (!file) return -1;
  try {
    LineReader reader(*file);
    std::string piece;
    std::string pendingComment;
    IniSection* current = nullptr;
    while (reader.next(piece)) {
      // Text stops at a NUL byte, as it would in a C string.
      const std::string_view line(piece.data(), strnlen(piece.data(), piece.size()));
      if (!parseLine(line, pendingComment, current)) return -2;
    }
  } catch (const std::bad_alloc&) {
    return -2;
  }
  // A read error must not pass for a shorter file.
  // Nor may a file the system failed to close: a run stops on any file fault.
  if (file->error() || !file->close()) return -1;
  m_modified = modificationStamp(path);
  return 0;
}

bool IniFile::parseLine(std::string_view line, std::string& pendingComment, IniSection*& current) {
  size_t start = 0;
  while (start < line.size() && isSpace(line[start])) ++start;
  const std::string_view rest = line.substr(start);
  if (rest.empty()) return true;
  if (rest[0] == ';' || rest[0] == '#') {
    pendingComment.append(line);
    return true;
  }
  if (rest[0] == '[') {
    const std::string_view name = headerName(rest.substr(1));
    if (!pendingComment.empty()) {
      if (current == nullptr) {
        m_headComment = pendingComment;
      } else if ((current->comment = copyText(m_arena, pendingComment)) == nullptr) {
        return false;
      }
      pendingComment.clear();
    }
    IniSection* section = findSection(name);
    if (section == nullptr) section = createSection(name);
    if (section == nullptr) return false;
    current = section;
    return true;
  }
  if (current != nullptr) parseKeyLine(rest, *current);
  return true;
}

void IniFile::parseKeyLine(std::string_view line, IniSection& section) {
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos || equals == 0) return;
  const size_t keyEnd = line[equals - 1] == ' ' ? equals - 1 : equals;
  size_t begin = equals + 1;
  if (begin < line.size() && line[begin] == ' ') ++begin;
  size_t end = line.size();
  while (end > begin && (line[end - 1] == '\r' || line[end - 1] == '\n')) --end;
  // A refused key (a repeat) is dropped: the first occurrence wins.
  addKey(section, line.substr(0, keyEnd), line.substr(begin, end - begin));
}

IniSection* IniFile::findSection(std::string_view name) const {
  const Folded folded = fold(name);
  return m_sections.find(folded.bytes, folded.length);
}

IniSection* IniFile::Section(const char* name) const { return name != nullptr ? findSection(name) : nullptr; }

IniSection* IniFile::createSection(std::string_view name) {
  if (!m_sections.setUp(m_arena, 50)) return nullptr;
  const char* spelled = copyText(m_arena, name);
  if (spelled == nullptr) return nullptr;
  const Folded folded = fold(name);
  int32_t result = 0;
  IniSection* section = m_sections.insert(folded.bytes, folded.length, result);
  if (section != nullptr) section->name = spelled;
  return section;
}

int32_t IniFile::addKey(IniSection& section, std::string_view key, std::string_view value) {
  if (!section.keys.setUp(m_arena, m_keyTableHint)) return -2;
  IniValue* object = IniValue::make(m_arena, key, value);
  if (object == nullptr) return -3;
  const Folded folded = fold(key);
  int32_t result = 0;
  IniValue** slot = section.keys.insert(folded.bytes, folded.length, result);
  if (slot == nullptr) return -4;
  *slot = object;
  if (section.keys.count() > 10) m_keyTableHint = section.keys.count();
  return 0;
}

const char* IniFile::Value(const IniSection* section, const char* key) const {
  if (section == nullptr || key == nullptr) return nullptr;
  const Folded folded = fold(key);
  IniValue* const* object = section->keys.find(folded.bytes, folded.length);
  return object != nullptr ? (*object)->value() : nullptr;
}

const char* IniFile::GetString(const char* section, const char* key, const char* defaultValue, char* buffer,
                               int32_t size) const {
  const bool useBuffer = buffer != nullptr && size > 0;
  if (const char* value = Value(Section(section), key)) return useBuffer ? copyBounded(buffer, size, value) : value;
  const char* fallback = defaultValue != nullptr ? defaultValue : "";
  return useBuffer ? copyBounded(buffer, size, fallback) : fallback;
}

int32_t IniFile::SetValue(const char* section, const char* key, const char* value) {
  if (section == nullptr || key == nullptr) return -1;
  IniSection* target = findSection(section);
  if (target == nullptr) target = createSection(section);
  if (target == nullptr) return -1;
  const Folded folded = fold(key);
  target->keys.remove(folded.bytes, folded.length);
  m_dirty = true;
  return addKey(*target, key, value != nullptr ? value : "");
}

int32_t IniFile::Save(const char* path) {
  const bool ownPath = path == nullptr || m_path == path;
  if (ownPath && !m_dirty) return 0;
  if (write(ownPath ? m_path.c_str() : path) != 0) return -1;
  m_dirty = false;
  return 0;
}

int32_t IniFile::write(const char* target) {
  std::unique_ptr<platform::File> file = platform::File::open(target, "w");
  if (!file) return -1;
  bool ok = true;
  auto put = [&](std::string_view text) {
    if (ok) ok = file->write(text.data(), text.size()) == text.size();
  };
  if (!m_headComment.empty()) {
    put(m_headComment);
    put("\n");
  }
  for (auto* entry = m_sections.first(); entry != nullptr && ok; entry = entry->next) {
    const IniSection& section = entry->value;
    put("[");
    put(section.name);
    put("]\n");
    if (section.comment != nullptr) {
      put(section.comment);
      put("\n");
    }
    for (auto* key = section.keys.first(); key != nullptr && ok; key = key->next) {
      put(key->value->line());
      put("\n");
    }
    put("\n");
  }
  // A file that did not reach the disk counts as not written.
  ok = ok && file->flush() && file->sync();
  return file->close() && ok ? 0 : -1;
}

void IniFile::Clear() {
  m_sections.reset();
  m_arena.clear();
  m_dirty = true;
}

}  // namespace quern
