// The walk that the E1 and Range merges share. Each source stands on its
// current key (a term, a value) in the merge queue; keys leave the queue in
// ascending order, equal keys by rising ordinal. A key's merged set is one
// part per source in ordinal order: the source's own set where it has the
// key, else what the source stands in with (E1: zero segments; Range: what
// it holds below the key). Sets are copied segment by segment, never
// decoded; the rows follow in the field table, then the closing block.
//
// An Entry (a CEntry) offers key(), ordinal(), set() (the current key's),
// advance() (false when no key is left), standIn(SFWAHVector& merged) and
// recordCounts(). One thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/exception.h"
#include "base/guard.h"
#include "base/suspend.h"
#include "codec/priorityqueue.h"
#include "index/fieldtable.h"
#include "storage/bytearena.h"

namespace quern::mergewalk {

// By key (unsigned bytes, the shorter first on a tie), then by ordinal. A
// null entry raises level 2 "Invalid param".
template <typename Entry>
bool less(const CEntry* a, const CEntry* b) {
  const auto* x = static_cast<const Entry*>(a);
  const auto* y = static_cast<const Entry*>(b);
  if (x == nullptr || y == nullptr) QRN_RAISE(2, "Invalid param");
  const int order = x->key().compare(y->key());
  return order < 0 || (order == 0 && x->ordinal() < y->ordinal());
}

// Takes `entry` into `entries` and the queue. Room for every source is
// reserved up front, so entering never moves an entry the queue holds; a
// refusal of the queue leaves neither holding it and raises
// "m_merger insert fail, %s".
template <typename Entry>
void enter(CPriorityQueue& queue, std::vector<std::unique_ptr<Entry>>& entries, std::unique_ptr<Entry> entry) {
  entries.reserve(queue.capacity());
  const Entry* raw = entry.get();
  raiseAs(QRN_SITE(2), "m_merger insert", [&] {
    entries.push_back(std::move(entry));
    queue.put(entries.back().get());
  }, [&] {
    if (!entries.empty() && entries.back().get() == raw) entries.pop_back();
  });
}

// Walks the queue to its end and writes the merged file to `output`. Tests
// the current suspender before the first key and after each.
template <typename Entry>
void run(CPriorityQueue& queue, const std::vector<std::unique_ptr<Entry>>& entries, COutputDesc* output) {
  if (output == nullptr) QRN_RAISE(2, "invalid param(desc)");
  const auto sources = static_cast<int64_t>(entries.size());
  // One key's set at a time, emptied behind each on a cache that is rewound:
  // keys after the first allocate nothing.
  CMemCache scratch;
  SFWAHVector merged(&scratch);
  bool open = false;  // a key is being merged
  std::string lastKey;
  int64_t lastOrdinal = sources;
  uint64_t offset = 0;
  // Keys leave the queue in ascending order: the rows need no sorting and
  // are kept as the table's image.
  ByteArena rows;
  uint32_t rowCount = 0;
  const auto standInUpTo = [&](int64_t end) {
    for (int64_t o = lastOrdinal + 1; o < end; ++o) entries[static_cast<size_t>(o)]->standIn(merged);
  };
  // The sources behind the last one that had the key stand in, then the set is written.
  const auto completeKey = [&] {
    standInUpTo(sources);
    merged.chunks()->writeTo(output);
    fieldtable::appendRow(rows, lastKey, offset);
    ++rowCount;
    offset += merged.chunks()->imageBytes();
    merged.chunks()->clear();
    merged.setLength(0);
    scratch.rewind();
  };

  Suspender::CheckSuspend();
  while (CEntry* top = queue.top()) {
    auto* entry = static_cast<Entry*>(top);
    if (!open || entry->key() != lastKey) {
      if (open) completeKey();
      open = true;
      lastOrdinal = -1;
    }
    standInUpTo(entry->ordinal());
    merged.append(entry->set());
    lastKey = entry->key();
    lastOrdinal = entry->ordinal();
    if (entry->advance()) {
      queue.adjustTop();
    } else {
      queue.removeTop();
    }
    Suspender::CheckSuspend();
  }
  if (open) completeKey();

  std::vector<uint32_t> recordCounts;
  for (const auto& source : entries) {
    recordCounts.insert(recordCounts.end(), source->recordCounts().begin(), source->recordCounts().end());
  }
  fieldtable::writeHead(output->file(), recordCounts, rowCount);
  rows.writeTo(output->file());
  output->writeClosingBlock(static_cast<int64_t>(offset));
}

}  // namespace quern::mergewalk
