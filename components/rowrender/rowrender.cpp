#include "rowrender.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "payload.h"

// An item is kept as two offsets into one text arena ("key\0value\0"), so
// that a payload is split with no allocation once the arena has grown.
struct RenderItem {
  uint32_t key;
  uint32_t value;
};

struct RenderSet {
  std::string arena;
  std::vector<RenderItem> items;
};

struct RowRender {
  std::string main;
  std::string attachName;
  std::string attachPath;
};

namespace {

std::string& lastError() {
  static std::string text;
  return text;
}

uint32_t loadU32(const uint8_t* p) {
  return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}

#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
void fail(const char* format, ...) {
  char text[160];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  lastError() = text;
}

// The length of a text of at most `limit` bytes that ends at its first NUL.
uint32_t textLength(const char* text, uint32_t limit) {
  const void* nul = limit == 0 ? nullptr : std::memchr(text, '\0', limit);
  return nul == nullptr ? limit : static_cast<uint32_t>(static_cast<const char*>(nul) - text);
}

// Splits `payload` into `set`; false with the reason set when an item runs
// past the payload's end.
bool split(const void* payload, unsigned int size, RenderSet& set) {
  set.arena.clear();
  set.items.clear();
  if (payload == nullptr && size != 0) {
    fail("payload is null, size %u", size);
    return false;
  }
  const auto* bytes = static_cast<const uint8_t*>(payload);
  uint32_t at = 0;
  while (at < size) {
    const uint32_t index = static_cast<uint32_t>(set.items.size());
    if (size - at < rowrender::kKeyLengthSize) {
      fail("item %u: key length runs past the payload end, offset %u of %u", index, at, size);
      return false;
    }
    const uint32_t keyLength = uint32_t{bytes[at]} | (uint32_t{bytes[at + 1]} << 8);
    at += rowrender::kKeyLengthSize;
    if (size - at < keyLength || size - at - keyLength < rowrender::kValueLengthSize) {
      fail("item %u: key runs past the payload end, offset %u of %u", index, at, size);
      return false;
    }
    const char* key = reinterpret_cast<const char*>(bytes + at);
    at += keyLength;
    const uint32_t valueLength = loadU32(bytes + at);
    at += rowrender::kValueLengthSize;
    if (size - at < valueLength) {
      fail("item %u: value runs past the payload end, offset %u of %u", index, at, size);
      return false;
    }
    const char* value = reinterpret_cast<const char*>(bytes + at);
    at += valueLength;
    // Texts end at their first NUL, as the C interface can carry no more.
    RenderItem item;
    item.key = static_cast<uint32_t>(set.arena.size());
    set.arena.append(key, textLength(key, keyLength)).push_back('\0');
    item.value = static_cast<uint32_t>(set.arena.size());
    set.arena.append(value, textLength(value, valueLength)).push_back('\0');
    set.items.push_back(item);
  }
  return true;
}

// Rows are TAB-separated lines: a value must not break them.
void appendClean(std::string& out, const char* text) {
  for (; *text != '\0'; ++text) out.push_back(*text == '\t' || *text == '\n' || *text == '\r' ? ' ' : *text);
}

void appendJoined(std::string& out, const char* text, const char* separator) {
  if (!out.empty()) out += separator;
  appendClean(out, text);
}

RowRender* render(const void* payload, unsigned int size, bool forDump) {
  static RenderSet set;
  static RowRender row;
  if (!split(payload, size, set)) return nullptr;
  row.main.clear();
  row.attachName.clear();
  row.attachPath.clear();
  for (const RenderItem& item : set.items) {
    const char* key = set.arena.data() + item.key;
    const char* value = set.arena.data() + item.value;
    const std::string_view name(key);
    const bool isName = name.find("attachname") != std::string_view::npos;
    const bool isPath = name.find("attachpath") != std::string_view::npos;
    if (isName) appendJoined(row.attachName, value, ";");
    if (isPath) appendJoined(row.attachPath, value, ";");
    if (!forDump && (isName || isPath)) continue;
    if (!row.main.empty()) row.main += forDump ? "\t" : "; ";
    appendClean(row.main, key);
    row.main.push_back('=');
    appendClean(row.main, value);
  }
  return &row;
}

RenderSet& itemSet() {
  static RenderSet set;
  return set;
}

}  // namespace

extern "C" {

RowRender* row_render_for_query(const void* payload, unsigned int size) { return render(payload, size, false); }

RowRender* row_render_for_dump(const void* payload, unsigned int size) { return render(payload, size, true); }

const char* row_render_get(RowRender* handle) { return handle == nullptr ? "" : handle->main.c_str(); }

const char* row_render_attach_name(RowRender* handle) { return handle == nullptr ? "" : handle->attachName.c_str(); }

const char* row_render_attach_path(RowRender* handle) { return handle == nullptr ? "" : handle->attachPath.c_str(); }

const char* row_render_error(void) { return lastError().c_str(); }

RenderSet* render_set_get(const void* payload, unsigned int size) {
  RenderSet& set = itemSet();
  return split(payload, size, set) ? &set : nullptr;
}

int render_set_count(RenderSet* set) { return set == nullptr ? -1 : static_cast<int>(set->items.size()); }

RenderItem* render_item_get(RenderSet* set, int index) {
  if (set == nullptr || index < 0 || static_cast<size_t>(index) >= set->items.size()) {
    fail("no item %d in a set of %d", index, render_set_count(set));
    return nullptr;
  }
  return &set->items[static_cast<size_t>(index)];
}

const char* render_item_key(RenderItem* item) {
  return item == nullptr ? "" : itemSet().arena.data() + item->key;
}

const char* render_item_val(RenderItem* item) {
  return item == nullptr ? "" : itemSet().arena.data() + item->value;
}

}  // extern "C"
