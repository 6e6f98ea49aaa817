#include "codec/ringqueue.h"

#include <new>

#include "base/exception.h"

namespace quern {

CRingQueue::CRingQueue(uint32_t maxSize) : m_capacity(maxSize) {
  if (maxSize == 0) QRN_RAISE(2, "invalid param maxSize(%u)", maxSize);
  // Zeroed, so that a size set beyond the puts delivers zeros, not garbage.
  m_data.reset(new (std::nothrow) uint32_t[maxSize]());
  if (!m_data) QRN_RAISE(2, "alloc ring of %u failed", maxSize);
}

void CRingQueue::putRange(uint32_t first, uint32_t count) {
  if (count > m_capacity) {
    // Values that later ones of the range would overwrite are never stored.
    const uint32_t skipped = count - m_capacity;
    m_index = static_cast<int32_t>((int64_t{m_index} + skipped) % m_capacity);
    first += skipped;
    count = m_capacity;
  }
  while (count != 0) {
    const uint32_t slot = static_cast<uint32_t>(m_index + 1) == m_capacity ? 0 : static_cast<uint32_t>(m_index + 1);
    const uint32_t run = count < m_capacity - slot ? count : m_capacity - slot;
    for (uint32_t i = 0; i < run; ++i) m_data[slot + i] = first + i;
    m_index = static_cast<int32_t>(slot + run - 1);
    first += run;
    count -= run;
  }
}

uint32_t CRingQueue::pop() {
  if (m_size == 0) QRN_RAISE(1, "nothing to pop, size is zero");
  if (m_index < 0) m_index = static_cast<int32_t>(m_capacity - 1);
  const uint32_t value = m_data[m_index];
  m_index = m_index == 0 ? static_cast<int32_t>(m_capacity - 1) : m_index - 1;
  --m_size;
  return value;
}

}  // namespace quern
