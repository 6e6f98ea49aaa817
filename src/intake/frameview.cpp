#include "intake/frameview.h"

#include <algorithm>
#include <cstring>

namespace quern {

namespace {

std::string boundedText(const uint8_t* text, uint32_t limit) {
  const auto* begin = reinterpret_cast<const char*>(text);
  return std::string(begin, std::find(begin, begin + limit, '\0'));
}

}  // namespace

bool FrameView::load(const FrameHeader& header, const uint8_t* body) {
  m_layout = frameLayout(header.frameType);
  if (m_layout == nullptr) return false;
  const uint32_t fixedEnd = m_layout->fixedEnd;
  if (header.frameSize < fixedEnd) {
    std::memset(m_scratch, 0, fixedEnd);
    std::memcpy(m_scratch, body, header.frameSize);
    m_fixed = m_scratch;
    m_payload = m_scratch + fixedEnd;
    m_payloadSize = 0;
    return true;
  }
  m_fixed = body;
  m_payload = body + fixedEnd;
  m_payloadSize = std::min(u32(m_layout->payloadSize), header.frameSize - fixedEnd);
  return true;
}

std::string FrameView::timeText() const { return boundedText(m_fixed + body::kTimeText, body::kTimeTextSize); }

std::string FrameView::snapText() const {
  if (m_layout->snapText == 0) return std::string();
  return boundedText(m_fixed + m_layout->snapText, body::kSnapTextSize);
}

}  // namespace quern
