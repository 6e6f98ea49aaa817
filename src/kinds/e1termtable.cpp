#include "kinds/e1termtable.h"

#include <cstring>
#include <functional>

#include "base/exception.h"

namespace quern {

E1TermTable::E1TermTable() : m_slots(1024) {}

uint32_t E1TermTable::hashOf(std::string_view value) {
  const uint64_t hash = std::hash<std::string_view>{}(value);
  return static_cast<uint32_t>(hash ^ (hash >> 32));
}

uint32_t E1TermTable::findOrAdd(std::string_view value, bool& added) { return place(value, nullptr, added); }

uint32_t E1TermTable::adopt(const char* stored) {
  uint32_t length;
  std::memcpy(&length, stored, sizeof length);
  bool added = false;
  return place(std::string_view(stored + sizeof length, length), stored, added);
}

uint32_t E1TermTable::place(std::string_view value, const char* stored, bool& added) {
  const uint32_t hash = hashOf(value);
  const size_t mask = m_slots.size() - 1;
  for (size_t at = hash & mask;; at = (at + 1) & mask) {
    Slot& slot = m_slots[at];
    if (slot.number == 0) {
      if (m_terms.size() >= 0xFFFFFFFEu) QRN_RAISE(2, "too many terms");
      m_terms.push_back(stored != nullptr ? stored : store(value));
      slot = Slot{hash, static_cast<uint32_t>(m_terms.size())};
      if (m_terms.size() * 4 > m_slots.size() * 3) grow();
      added = true;
      return static_cast<uint32_t>(m_terms.size() - 1);
    }
    if (slot.hash == hash && term(slot.number - 1) == value) {
      added = false;
      return slot.number - 1;
    }
  }
}

uint32_t E1TermTable::find(std::string_view value) const {
  const uint32_t hash = hashOf(value);
  const size_t mask = m_slots.size() - 1;
  for (size_t at = hash & mask; m_slots[at].number != 0; at = (at + 1) & mask) {
    const Slot& slot = m_slots[at];
    if (slot.hash == hash && term(slot.number - 1) == value) return slot.number - 1;
  }
  return kNone;
}

const char* E1TermTable::store(std::string_view value) {
  char* stored = m_bytes.append(sizeof(uint32_t) + value.size());
  const auto length = static_cast<uint32_t>(value.size());
  std::memcpy(stored, &length, sizeof length);
  std::memcpy(stored + sizeof length, value.data(), value.size());
  return stored;
}

void E1TermTable::grow() {
  ZeroedArray<Slot> slots(m_slots.size() * 2);
  const size_t mask = slots.size() - 1;
  for (size_t i = 0; i < m_slots.size(); ++i) {
    const Slot& slot = m_slots[i];
    if (slot.number == 0) continue;
    size_t at = slot.hash & mask;
    while (slots[at].number != 0) at = (at + 1) & mask;
    slots[at] = slot;
  }
  m_slots.swap(slots);
}

}  // namespace quern
