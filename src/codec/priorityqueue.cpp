#include "codec/priorityqueue.h"

#include "base/exception.h"

namespace quern {

CPriorityQueue::CPriorityQueue(uint32_t capacity, bool ownsElements)
    : m_heap(std::make_unique<CEntry*[]>(static_cast<size_t>(capacity) + 1)),
      m_ownsElements(ownsElements),
      m_capacity(capacity) {}

CPriorityQueue::~CPriorityQueue() {
  if (!m_ownsElements) return;
  for (uint32_t i = 1; i <= m_size; ++i) delete m_heap[i];
}

bool CPriorityQueue::insert(CEntry* element) {
  if (element == nullptr) QRN_RAISE(2, "insert element must not be null");
  if (m_capacity == 0) return false;
  if (m_size < m_capacity) {
    put(element);
    return true;
  }
  if (!below(m_heap[1], element)) return false;
  if (m_ownsElements) delete m_heap[1];
  m_heap[1] = element;
  adjustTop();
  return true;
}

void CPriorityQueue::put(CEntry* element) {
  if (element == nullptr) QRN_RAISE(2, "put element must not be null");
  if (m_size >= m_capacity) QRN_RAISE(2, "put error, the queue is full!");
  uint32_t slot = ++m_size;
  while (slot > 1 && below(element, m_heap[slot / 2])) {
    m_heap[slot] = m_heap[slot / 2];
    slot /= 2;
  }
  m_heap[slot] = element;
}

void CPriorityQueue::adjustTop() {
  if (m_capacity == 0 || m_size == 0) return;
  CEntry* root = m_heap[1];
  uint32_t slot = 1;
  // 64-bit child index: 2 * slot cannot wrap for any capacity.
  for (uint64_t j = 2; j <= m_size; j = 2 * static_cast<uint64_t>(slot)) {
    uint32_t k = static_cast<uint32_t>(j);
    if (k + 1 <= m_size && below(m_heap[k + 1], m_heap[k])) ++k;
    if (!below(m_heap[k], root)) break;
    m_heap[slot] = m_heap[k];
    slot = k;
  }
  m_heap[slot] = root;
}

void CPriorityQueue::removeTop() {
  if (m_size == 0) return;
  m_heap[1] = m_heap[m_size];
  m_heap[m_size--] = nullptr;
  adjustTop();
}

}  // namespace quern
