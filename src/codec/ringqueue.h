// CRingQueue: keeps the last `capacity` values put in, in a fixed array,
// and gives them back newest first. The top selection of a query collects
// its record ids here.
#pragma once

#include <cstdint>
#include <memory>

namespace quern {

class CRingQueue {
 public:
  // `maxSize` 0 raises.
  explicit CRingQueue(uint32_t maxSize);
  CRingQueue(const CRingQueue&) = delete;
  CRingQueue& operator=(const CRingQueue&) = delete;

  // Stores after the newest entry, overwriting the oldest when full.
  void put(uint32_t value) {
    m_index = static_cast<uint32_t>(m_index + 1) == m_capacity ? 0 : m_index + 1;
    m_data[m_index] = value;
  }
  // Puts first, first + 1, ... first + count - 1, as many single puts would.
  void putRange(uint32_t first, uint32_t count);
  // The newest entry not yet delivered; only while size is not 0.
  uint32_t pop();
  // How many entries `pop` is to deliver, at most the capacity.
  void setSize(uint32_t size) { m_size = size < m_capacity ? size : m_capacity; }
  uint32_t size() const { return m_size; }
  uint32_t capacity() const { return m_capacity; }

 private:
  std::unique_ptr<uint32_t[]> m_data;
  int32_t m_index = -1;
  uint32_t m_size = 0;
  uint32_t m_capacity = 0;
};

}  // namespace quern
