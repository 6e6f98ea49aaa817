// The INI engine under every text file of the library. A document is a
// two-level dictionary (sections, keys in a section) that keeps the order of
// both levels, the comments and the keys as spelled, and can be written back.
// Names are matched case-insensitively on their first 64 characters. No
// operation throws: results are codes (0 = success) and the caller decides
// whether to raise. One thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "config/inidict.h"

namespace quern {

// A key's line "key = value" in one piece of the arena, with the value inside it.
class IniValue {
 public:
  // Null when out of memory.
  static IniValue* make(IniArena& arena, std::string_view key, std::string_view value);
  const char* line() const { return reinterpret_cast<const char*>(this + 1); }
  const char* value() const { return line() + m_valueOffset; }

 private:
  explicit IniValue(size_t valueOffset) : m_valueOffset(valueOffset) {}
  size_t m_valueOffset;
};

// Every piece lives in the document's arena.
struct IniSection {
  const char* name;  // as first written
  IniDict<IniValue*> keys;
  const char* comment;  // comment lines written behind the header, or null
};

class IniFile {
 public:
  IniFile() = default;
  IniFile(const IniFile&) = delete;
  IniFile& operator=(const IniFile&) = delete;

  // Reads `path` unless it is the file of the last load with an unchanged
  // modification time. 0; -1 if it cannot be opened or read; -2 if a section
  // cannot be created.
  int32_t Load(const char* path);
  IniSection* Section(const char* name) const;
  // The value text of `key`, or null; a null section gives null.
  const char* Value(const IniSection* section, const char* key) const;
  // The value copied into `buffer` (at most size - 1 characters), or the
  // value itself without a buffer; `defaultValue` (or "") when not found.
  const char* GetString(const char* section, const char* key, const char* defaultValue, char* buffer,
                        int32_t size) const;
  // Sets one value; a replaced key moves to the end of its section. 0; -1 if
  // the section cannot be created; -2, -3, -4 if the key cannot be added.
  int32_t SetValue(const char* section, const char* key, const char* value);
  // Writes the document to `path`, or to the loaded path when `path` is null
  // or that path (then only if something changed). 0, or -1 on a failed open or write.
  int32_t Save(const char* path);
  // Frees all sections; the head comment stays. Memory of replaced values
  // comes back here (and at `Load` and destruction), not at `SetValue`.
  void Clear();

  const std::string& headComment() const { return m_headComment; }
  uint32_t sectionCount() const { return m_sections.count(); }
  // The oldest section; walk on with `next`.
  const IniDict<IniSection>::Entry* firstSection() const { return m_sections.first(); }

 private:
  IniSection* findSection(std::string_view name) const;
  IniSection* createSection(std::string_view name);
  int32_t addKey(IniSection& section, std::string_view key, std::string_view value);
  // False when the line's section cannot be created.
  bool parseLine(std::string_view line, std::string& pendingComment, IniSection*& current);
  void parseKeyLine(std::string_view line, IniSection& section);
  int32_t write(const char* target);

  std::string m_path;  // at most 254 characters
  uint32_t m_modified = 0;
  bool m_dirty = false;
  std::string m_headComment;
  IniArena m_arena;
  IniDict<IniSection> m_sections;
  // Table size for the next new section: sections tend to be alike.
  uint32_t m_keyTableHint = 10;
};

}  // namespace quern
