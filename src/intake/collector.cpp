#include "intake/collector.h"

#include <cstring>
#include <memory>
#include <string_view>

#include "config/config.h"
#include "config/ini.h"
#include "base/exception.h"
#include "index/index.h"
#include "intake/framereader.h"
#include "intake/frameview.h"
#include "platform/platform.h"
#include "storage/crc.h"
#include "storage/endian.h"

namespace quern {

namespace {

uint64_t crcOf(std::string_view text) { return crc64(text.data(), static_cast<uint32_t>(text.size())); }

// Levels of a group path "/top/sub/...": blanks cut, empty parts skipped.
// Parts beyond the fifteenth have no field and are left out.
Collector::Levels levelsOf(std::string_view path) {
  Collector::Levels levels;
  levels.fill(Collector::kAbsentLevel);
  if (path.empty() || path.front() != '/') {
    levels[0] = 0;
    return levels;
  }
  uint32_t level = 0;
  size_t start = 1;
  while (start <= path.size() && level < Collector::kGroupLevels) {
    size_t stop = path.find('/', start);
    if (stop == std::string_view::npos) stop = path.size();
    std::string_view part = path.substr(start, stop - start);
    const size_t first = part.find_first_not_of(" \t");
    part = first == std::string_view::npos ? std::string_view() : part.substr(first);
    part = part.substr(0, part.find_last_not_of(" \t") + 1);
    if (!part.empty()) levels[level++] = crcOf(part);
    start = stop + 1;
  }
  return levels;
}

// Writes the fields of a record behind each other, never past the end.
class RecordWriter {
 public:
  RecordWriter(uint8_t* bytes, uint32_t size) : m_bytes(bytes), m_size(size) {}
  void field(const void* data, uint32_t size) {
    storeLE32(m_bytes + m_used, size);
    std::memcpy(m_bytes + m_used + 4, data, size);
    m_used += 4 + size;
  }
  void u32(uint32_t value) {
    uint8_t bytes[4];
    storeLE32(bytes, value);
    field(bytes, 4);
  }
  void u64(uint64_t value) {
    uint8_t bytes[8];
    storeLE64(bytes, value);
    field(bytes, 8);
  }
  uint8_t* rest() { return m_bytes + m_used; }
  uint32_t restSize() const { return m_size - m_used; }

 private:
  uint8_t* m_bytes;
  uint32_t m_size;
  uint32_t m_used = 0;
};

}  // namespace

const uint8_t* nextRecordFrame(CQvlogIterator& frames, FrameHeader& header) {
  while (const uint8_t* body = frames.Next(&header)) {
    if (frameLayout(header.frameType) != nullptr) return body;
    QRN_TRACE(3, "skip unknow frame type %d", static_cast<int>(header.frameType));
  }
  return nullptr;
}

Collector::Collector(IndexWriter* writer, const char* logPath) : m_writer(writer) {
  if (writer == nullptr) QRN_RAISE(2, "invalid param(writer)");
  m_logPath = logPath == nullptr ? "" : logPath;
  loadGroups();
}

void Collector::loadGroups() {
  IniFile ini;
  if (ini.Load("groups.ini") != 0) QRN_RAISE(2, "load groups.ini failed");
  char buffer[32];
  const unsigned long long count =
      std::strtoull(ini.GetString("global", "count", "", buffer, sizeof buffer), nullptr, 10);
  if (count == 0 || count > kMaxGroupCount) QRN_RAISE(2, "group count %llu is invalid", count);
  for (uint32_t i = 0; i < static_cast<uint32_t>(count); ++i) {
    const std::string section = "g" + std::to_string(i);
    const char* name = ini.GetString(section.c_str(), "name", "", nullptr, 0);
    if (*name == '\0') QRN_RAISE(2, "g%u->name is empty", i);
    const char* crcText = ini.GetString(section.c_str(), "crc", "", nullptr, 0);
    if (*crcText == '\0') QRN_RAISE(2, "g%u->crc is empty", i);
    const uint64_t crc = std::strtoull(crcText, nullptr, 10);
    if (crc != crcOf(name)) QRN_RAISE(2, "g%u->name crc is error", i);
    m_groups.try_emplace(crc, Group{name, levelsOf(name)});
  }
}

Collector::Levels Collector::groupLevels(uint64_t groupCrc) const {
  if (groupCrc == 0) return levelsOf("");
  const auto found = m_groups.find(groupCrc);
  if (found != m_groups.end()) return found->second.levels;
  QRN_TRACE(3, "no such group crc! %llu", static_cast<unsigned long long>(groupCrc));
  return levelsOf("/");
}

uint64_t Collector::Collect(uint64_t begin, uint64_t end) {
  const uint64_t limit = IndexConfig::instance().maxIndexMemory();
  auto reader = std::make_unique<CQvlogReader>(m_logPath.c_str());
  reader->Open();
  uint64_t position = begin < kFileHeaderSize ? kFileHeaderSize : begin;
  reader->input()->seek(static_cast<int64_t>(position));
  uint32_t id = 1;
  LogBlockHeader header;
  while (CQvlogIterator* frames = reader->ReadBlock(&header, 1)) {
    const uint32_t records = collectBlock(*frames);
    if (records != 0) {
      m_writer->store()->addRecord(id, position, m_logPath);
      id += records;
    }
    position += static_cast<uint64_t>(header.blockSize) + kBlockHeaderSize;
    if (position >= end) break;
    uint64_t memory = 0;
    if (!platform::processMemory(memory)) QRN_RAISE(2, "get process memory fail");
    if (memory > limit) {
      QRN_TRACE(3, "memory usage: %llu, larger than limit %llu", static_cast<unsigned long long>(memory),
                static_cast<unsigned long long>(limit));
      return position;
    }
  }
  QRN_TRACE(1, "collect dat from %llu to %llu success", static_cast<unsigned long long>(begin),
            static_cast<unsigned long long>(position));
  return position < end ? end : position;
}

uint32_t Collector::collectBlock(CQvlogIterator& frames) {
  uint32_t count = 0;
  FrameHeader header;
  while (const uint8_t* body = nextRecordFrame(frames, header)) {
    makeRecord(header, body);
    ++count;
  }
  return count;
}

void Collector::makeRecord(const FrameHeader& header, const uint8_t* body) {
  FrameView frame;
  frame.load(header, body);
  const uint32_t size = header.frameSize + kRecordSlack;
  RecordWriter record(m_writer->newRecord(size) + 4, size);
  for (uint64_t level : groupLevels(frame.u64(body::kGroupCrc))) record.u64(level);
  record.u64(frame.u64(body::kUserCrc));
  record.field(frame.at(body::kHostAddress), 16);
  record.u32(frame.u32(body::kServCrc));
  record.u32(frame.snapText().empty() ? 0 : 1);
  record.u32(frame.u32(body::kAppCrc));
  record.u32(frame.u32(body::kPrivateMark));
  const std::string time = frame.timeText();
  record.field(time.data(), static_cast<uint32_t>(time.size()));
  static const CResultReader result;
  result.Read(frame.payload(), frame.payloadSize(), record.rest(), record.restSize());
}

}  // namespace quern
