// CPriorityQueue: the binary heap of merge sources on which the field
// mergers run, least entry (by CEntry::lessThan) on top; every kind's merge
// engine derives from it.
#pragma once

#include <cstdint>
#include <memory>

namespace quern {

// A merge source standing on one term; the merge queues order them by term,
// then by the source's ordinal.
class CEntry {
 public:
  virtual bool lessThan(const CEntry* a, const CEntry* b) const = 0;
  virtual ~CEntry() = default;
};

class CPriorityQueue {
 public:
  // `ownsElements`: the queue deletes what it holds (and what `insert`
  // pushes out); the field mergers keep their entries themselves.
  explicit CPriorityQueue(uint32_t capacity, bool ownsElements = false);
  virtual ~CPriorityQueue();
  CPriorityQueue(const CPriorityQueue&) = delete;
  CPriorityQueue& operator=(const CPriorityQueue&) = delete;

  // Below capacity the element joins; at capacity it replaces the top if the
  // top is below it. False when the element was not taken. Null raises.
  bool insert(CEntry* element);
  // Adds an element below capacity; null or a full heap raises.
  void put(CEntry* element);
  CEntry* top() const { return m_size == 0 ? nullptr : m_heap[1]; }
  // Restores the order after the top's key has grown.
  void adjustTop();
  // Takes the top out (not freed): the last element moves up and sifts down.
  void removeTop();

  uint32_t size() const { return m_size; }
  uint32_t capacity() const { return m_capacity; }

 private:
  static bool below(const CEntry* a, const CEntry* b) { return a->lessThan(a, b); }

  std::unique_ptr<CEntry*[]> m_heap;  // slots 1 to m_size in use
  uint32_t m_size = 0;
  bool m_ownsElements;
  uint32_t m_capacity;
};

}  // namespace quern
