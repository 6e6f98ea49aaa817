#include "intake/framereader.h"

#include <cstring>
#include <map>

#include "base/exception.h"
#include "intake/frameview.h"
#include "rowrender/rowrender.h"
#include "storage/address.h"

namespace quern {

namespace {

// At most the first 256 characters: LF and TAB become blanks; empty becomes "-".
std::string cleaned(std::string text) {
  const size_t limit = std::min<size_t>(text.size(), body::kSnapTextSize);
  for (size_t i = 0; i < limit; ++i) {
    if (text[i] == '\n' || text[i] == '\t') text[i] = ' ';
  }
  return text.empty() ? std::string("-") : text;
}

std::string addressText(const uint8_t* address) {
  char text[kAddressTextSize];
  return addressToText(address, text) < 0 ? std::string() : std::string(text);
}

std::string headText(const FrameView& frame) {
  return formatText("%s\t%08X\t%llu\t%llu\t%s\t%s\t%u\t%u", frame.timeText().c_str(), frame.u32(body::kEventTag),
                    static_cast<unsigned long long>(frame.u64(body::kUserCrc)),
                    static_cast<unsigned long long>(frame.u64(body::kGroupCrc)),
                    addressText(frame.at(body::kHostAddress)).c_str(),
                    addressText(frame.at(body::kPeerAddress)).c_str(), frame.u32(body::kServCrc),
                    frame.u32(body::kAppCrc));
}

}  // namespace

std::string CFrameReader::Row(const FrameHeader* header, const void* body, int exportRow) const {
  if (header == nullptr || body == nullptr) {
    QRN_TRACE(3, "invalid param, frame or hdr is null");
    return std::string();
  }
  FrameView frame;
  if (frameLayout(header->frameType) == nullptr) {
    QRN_TRACE(3, "hdr->frameType:%d is invalid", static_cast<int>(header->frameType));
    return std::string();
  }
  if (header->frameSize == 0) QRN_RAISE(2, "invalid frame or size(%u)", header->frameSize);
  frame.load(*header, static_cast<const uint8_t*>(body));
  if (exportRow != 0) {
    RowRender* handle = row_render_for_dump(frame.payload(), frame.payloadSize());
    if (handle == nullptr) QRN_RAISE(2, "convert dump result fail, %s", row_render_error());
    return formatText("%s\t%s", headText(frame).c_str(), row_render_get(handle));
  }
  RowRender* handle = row_render_for_query(frame.payload(), frame.payloadSize());
  if (handle == nullptr) QRN_RAISE(2, "convert query result fail, %s", row_render_error());
  const std::string head = headText(frame);
  const std::string main = row_render_get(handle);
  const std::string attachPath = row_render_attach_path(handle);
  const std::string attachName = row_render_attach_name(handle);
  const std::string snap = frame.layout().snapText == 0 ? std::string() : cleaned(frame.snapText());
  return formatText("%s\t%s\t%d\t%s\t%s\t%s", head.c_str(), snap.c_str(), 0, attachName.c_str(), attachPath.c_str(),
                    main.c_str());
}

CResultReader::CResultReader()
    : m_skipKeys{"urltype", "apptype", "appname", "apprule", "count",
                 "filetype", "filesize", "filecount", "chat_dir", "chataction"},
      m_overlapKeys{"DNS", "url", "host", "urldata"} {}

void CResultReader::Read(const void* payload, uint32_t payloadSize, void* out, uint32_t capacity) const {
  if (out == nullptr || payload == nullptr) {
    QRN_TRACE(3, "invalid param, record or result is null");
    return;
  }
  if (capacity < kMinResultSpace) QRN_RAISE(1, "invalid param, result space %u", capacity);
  RenderSet* set = render_set_get(payload, payloadSize);
  if (set == nullptr) QRN_TRACE(3, "get result set fail, %s", row_render_error());
  const int count = render_set_count(set);
  if (count < 0) QRN_TRACE(3, "get render_set count fail, %s", row_render_error());

  std::map<std::string, std::string> values;
  for (int i = 0; i < count; ++i) {
    RenderItem* item = render_item_get(set, i);
    if (item == nullptr) {
      QRN_TRACE(3, "get render_item fail, %s", row_render_error());
      continue;
    }
    std::string key = render_item_key(item);
    if (m_skipKeys.count(key) != 0 || key.find("attachpath") != std::string::npos) continue;
    values[std::move(key)] = render_item_val(item);
  }

  // Of two overlapping values the one that holds the other stays; on equal
  // values the earlier key stays, and an empty value always goes.
  for (size_t a = 0; a < m_overlapKeys.size(); ++a) {
    for (size_t b = a + 1; b < m_overlapKeys.size(); ++b) {
      const auto first = values.find(m_overlapKeys[a]);
      const auto second = values.find(m_overlapKeys[b]);
      if (first == values.end() || second == values.end()) continue;
      if (first->second.find(second->second) != std::string::npos) {
        values.erase(second);
      } else if (second->second.find(first->second) != std::string::npos) {
        values.erase(first);
      }
    }
  }

  auto* bytes = static_cast<uint8_t*>(out);
  const uint32_t room = capacity - 4 - 1;
  uint32_t length = 0;
  bool cut = false;
  for (const auto& [key, value] : values) {
    if (value.empty()) continue;
    if (value.size() + kResultSeparatorSize > room - length) {
      cut = true;
      continue;
    }
    std::memcpy(bytes + 4 + length, value.data(), value.size());
    length += static_cast<uint32_t>(value.size());
    std::memcpy(bytes + 4 + length, kResultSeparator, kResultSeparatorSize);
    length += kResultSeparatorSize;
  }
  if (cut) QRN_TRACE(3, "result text is larger than its space %u, values left out", capacity);
  if (length == 0) {
    std::memcpy(bytes + 4, kResultSeparator, kResultSeparatorSize);
    length = kResultSeparatorSize;
  }
  bytes[4 + length] = '\0';
  storeLE32(bytes, length);
}

}  // namespace quern
