#include "codec/posintersect.h"

#include "base/cancel.h"
#include "base/exception.h"
#include "base/guard.h"

namespace quern {

POSIntersect::POSIntersect(std::vector<std::unique_ptr<POSVector>> lists) : m_lists(std::move(lists)) {}

POSIntersect::~POSIntersect() {
  keepFailures(QRN_SITE(0), "destructor POSIntersect", [&] {
    m_lists.clear();
  });
}

std::unique_ptr<SFWAHVector> POSIntersect::run(const std::vector<uint32_t>& segments) {
  const Canceler& canceler = Canceler::current();
  m_boundaries.clear();
  uint64_t total = 0;
  for (uint32_t count : segments) {
    total += count;
    if (total > UINT32_MAX) QRN_RAISE(2, "segments of %llu records", static_cast<unsigned long long>(total));
    m_boundaries.push_back(static_cast<uint32_t>(total));
  }
  m_nextBoundary = 0;
  m_lastRecord = 0;
  m_result = std::make_unique<SFWAHVector>(nullptr);

  const size_t n = m_lists.size();
  uint32_t rid = 0;
  size_t same = 0;
  for (size_t i = 0; n != 0 && canceler.IsCancelled() == 0;) {
    uint32_t reached = 0;
    if (!m_lists[i]->skipTo(rid, &reached)) break;
    i = i + 1 == n ? 0 : i + 1;
    if (reached == rid) {
      ++same;
    } else {
      rid = reached;
      same = 1;
    }
    if (same == n) {
      if (align()) addRecord(rid);
      same = 0;
    }
  }
  while (m_nextBoundary < m_boundaries.size()) closeSegment(m_boundaries[m_nextBoundary]);
  return std::move(m_result);
}

bool POSIntersect::align() {
  bool whole = true;
  for (const auto& list : m_lists) whole = list->skipToCurrent() && whole;
  const bool found = whole && phraseTest();
  for (const auto& list : m_lists) list->drain();
  return found;
}

bool POSIntersect::phraseTest() {
  // Looks for p with list k at p + k, walking the lists in a ring; `want` is
  // the position list i must show. The anchor is the list that last raised
  // the target: coming back to it, every other list has confirmed it.
  const size_t n = m_lists.size();
  uint32_t want = 0;
  size_t anchor = 0;
  for (size_t i = 0;;) {
    uint32_t v = 0;
    do {
      if (!m_lists[i]->nextPosition(v)) return false;
    } while (v < want);
    if (v > want) {
      want = v;
      anchor = i;
    }
    // Within a round, list k's target is at least k, so this cannot fall below 0.
    want = i + 1 == n ? static_cast<uint32_t>(want + 1 - n) : want + 1;
    i = i + 1 == n ? 0 : i + 1;
    if (i == anchor) return true;
  }
}

void POSIntersect::closeSegment(uint32_t boundary) {
  m_result->encoder()->appendZeros(boundary - m_lastRecord);
  m_result->setLength(m_result->length() + (boundary - m_lastRecord));
  m_result->encoder()->finish();
  m_result->chunks()->closeSegment();
  m_lastRecord = boundary;
  ++m_nextBoundary;
}

void POSIntersect::addRecord(uint32_t rid) {
  while (m_nextBoundary < m_boundaries.size() && m_boundaries[m_nextBoundary] < rid) {
    closeSegment(m_boundaries[m_nextBoundary]);
  }
  if (rid <= m_lastRecord) {
    QRN_RAISE(2, "record list of %s is out of order at %u", m_lists[0]->path().c_str(), rid);
  }
  if (m_nextBoundary == m_boundaries.size()) {
    const uint32_t records = m_boundaries.empty() ? 0 : m_boundaries.back();
    QRN_RAISE(2, "record %u lies past the %u records of %s", rid, records, m_lists[0]->path().c_str());
  }
  m_result->encoder()->appendZeros(rid - 1 - m_lastRecord);
  m_result->encoder()->appendBit(1);
  m_result->setLength(rid);
  m_lastRecord = rid;
}

}  // namespace quern
