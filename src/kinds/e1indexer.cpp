#include "kinds/e1indexer.h"

#include <algorithm>
#include <string_view>

#include "base/exception.h"
#include "base/guard.h"
#include "index/fieldtable.h"
#include "storage/endian.h"

namespace quern {

E1Indexer::E1Indexer(CMemCache* cache) : m_cache(cache) {
  if (m_cache == nullptr) {
    m_ownedCache = std::make_unique<CMemCache>();
    m_cache = m_ownedCache.get();
  }
}

E1Indexer::~E1Indexer() {
  keepFailures(QRN_SITE(0), "destructor E1Indexer", [&] {
    m_vectors.clear();
    m_postings.clear();
    m_ownedCache.reset();
  });
}

void E1Indexer::add(const void* data, uint32_t size) {
  if (data == nullptr || size == 0) QRN_RAISE(2, "invalid data or size(%u)", size);
  if (m_written) QRN_RAISE(1, "add after write");
  const std::string_view value(static_cast<const char*>(data), size);
  // A run of one value costs a comparison per record and no hashing.
  if (m_lastTerm == kNoTerm || m_terms.term(m_lastTerm) != value) {
    bool added = false;
    const uint32_t term = m_terms.findOrAdd(value, added);
    if (added) m_postings.push_back(Posting{});
    m_lastTerm = term;
  }
  addRecord(m_postings[m_lastTerm], m_recordCount + 1);
  ++m_recordCount;
}

void E1Indexer::addRecord(Posting& posting, uint32_t id) {
  if (posting.bitmap == 0) {
    for (uint32_t& place : posting.ids) {
      if (place == 0) {
        place = id;
        return;
      }
    }
    m_vectors.push_back(bitmapOf(posting, m_cache));
    posting.bitmap = static_cast<uint32_t>(m_vectors.size());
  }
  setBit(*m_vectors[posting.bitmap - 1], id);
}

std::unique_ptr<SFWAHVector> E1Indexer::bitmapOf(const Posting& posting, CMemCache* cache) const {
  std::unique_ptr<SFWAHVector> vector = BitEncoderFactory::instance().create(cache);
  for (uint32_t id : posting.ids) {
    if (id != 0) setBit(*vector, id);
  }
  return vector;
}

void E1Indexer::setBit(SFWAHVector& vector, uint32_t id) {
  // The gap since the term's last record is paid now, in one call.
  if (vector.length() + 1 < id) {
    vector.encoder()->appendZeros(id - 1 - vector.length());
    vector.setLength(id - 1);
  }
  vector.encoder()->appendBit(1);
  vector.setLength(id);
}

std::vector<uint32_t> E1Indexer::sortedTerms() const {
  // Unsigned bytes, a prefix first (the file's order), eight bytes at a
  // time: the terms are sorted by their first eight, and each run that
  // agrees on those by the next eight, so that long shared beginnings are
  // not compared again and again.
  struct Key {
    uint64_t chunk;  // big-endian, zero-padded
    uint32_t own;    // how many of the eight bytes are the term's
    uint32_t term;
  };
  struct Run {
    size_t first, last, depth;
  };
  std::vector<Key> keys(m_terms.size());
  for (uint32_t term = 0; term < keys.size(); ++term) keys[term].term = term;
  std::vector<Run> runs{{0, keys.size(), 0}};
  while (!runs.empty()) {
    const Run run = runs.back();
    runs.pop_back();
    for (size_t k = run.first; k < run.last; ++k) {
      const std::string_view bytes = m_terms.term(keys[k].term);
      const size_t own = std::min<size_t>(bytes.size() - run.depth, 8);
      uint64_t chunk = 0;
      if (own == 8) {
        chunk = loadBE64(bytes.data() + run.depth);
      } else {
        for (size_t i = 0; i < 8; ++i) chunk = chunk << 8 | (i < own ? static_cast<uint8_t>(bytes[run.depth + i]) : 0);
      }
      keys[k].chunk = chunk;
      keys[k].own = static_cast<uint32_t>(own);
    }
    std::sort(keys.begin() + static_cast<ptrdiff_t>(run.first), keys.begin() + static_cast<ptrdiff_t>(run.last),
              [](const Key& a, const Key& b) { return a.chunk != b.chunk ? a.chunk < b.chunk : a.own < b.own; });
    // Only terms that both go on past these eight bytes can still tie.
    for (size_t k = run.first; k < run.last;) {
      size_t end = k + 1;
      while (end < run.last && keys[end].chunk == keys[k].chunk && keys[end].own == keys[k].own) ++end;
      if (end - k > 1 && keys[k].own == 8) runs.push_back(Run{k, end, run.depth + 8});
      k = end;
    }
  }
  std::vector<uint32_t> order(keys.size());
  for (size_t i = 0; i < keys.size(); ++i) order[i] = keys[i].term;
  return order;
}

void E1Indexer::write(COutputDesc* output) {
  if (output == nullptr) QRN_RAISE(2, "invalid param(desc)");
  if (m_written) QRN_RAISE(1, "write after write");
  m_written = true;

  const std::vector<uint32_t> order = sortedTerms();
  // Every posting list ends at the record count, in one segment. Those still
  // held as ids are encoded one at a time on a scratch cache.
  CMemCache scratch;
  std::vector<uint64_t> offsets(order.size());
  uint64_t tableOffset = 0;
  for (size_t i = 0; i < order.size(); ++i) {
    // Sorted order visits the postings and terms at random: ask for them
    // a few terms ahead.
    if (i + kAhead < order.size()) __builtin_prefetch(&m_postings[order[i + kAhead]]);
    Posting& posting = m_postings[order[i]];
    std::unique_ptr<SFWAHVector> encoded;
    SFWAHVector* vector = posting.bitmap == 0 ? nullptr : m_vectors[posting.bitmap - 1].get();
    if (vector == nullptr) {
      encoded = bitmapOf(posting, &scratch);
      vector = encoded.get();
    }
    if (vector->length() < m_recordCount) {
      vector->encoder()->appendZeros(m_recordCount - vector->length());
      vector->setLength(m_recordCount);
    }
    vector->encoder()->finish();
    vector->chunks()->closeSegment();
    vector->chunks()->writeTo(output);
    offsets[i] = tableOffset;
    tableOffset += vector->chunks()->imageBytes();
    if (encoded) {
      encoded.reset();
      scratch.rewind();
    }
  }

  CFileOutput& file = output->file();
  fieldtable::writeHead(file, {&m_recordCount, 1}, static_cast<uint32_t>(order.size()));
  for (size_t i = 0; i < order.size(); ++i) {
    if (i + kAhead < order.size()) __builtin_prefetch(m_terms.term(order[i + kAhead]).data());
    fieldtable::writeRow(file, m_terms.term(order[i]), offsets[i]);
  }
  output->writeClosingBlock(static_cast<int64_t>(tableOffset));
}

uint32_t E1Indexer::cacheBytes() const {
  if (!m_ownedCache) QRN_RAISE(1, "no memory cache owned");
  return m_ownedCache->totalBytes();
}

}  // namespace quern
