#include "kinds/rangeindexer.h"

#include <cstring>
#include <iterator>

#include "base/exception.h"
#include "base/guard.h"
#include "index/fieldtable.h"

namespace quern {

namespace {

// `count` copies of `bit`; a run of 0 adds nothing (the encoder refuses
// an empty run of ones).
void putRun(SFWAHVector& vector, uint32_t bit, uint32_t count) {
  if (count == 0) return;
  if (bit != 0) {
    vector.encoder()->appendOnes(count);
  } else {
    vector.encoder()->appendZeros(count);
  }
}

}  // namespace

RangeIndexer::RangeIndexer(CMemCache* cache) : m_cache(cache) {
  if (m_cache == nullptr) {
    m_ownedCache = std::make_unique<CMemCache>();
    m_cache = m_ownedCache.get();
  }
}

RangeIndexer::~RangeIndexer() {
  keepFailures(QRN_SITE(0), "destruct RangeIndexer", [&] {
    m_vectors.clear();
    m_map.clear();
    m_ownedCache.reset();
  });
}

void RangeIndexer::add(const void* data, uint32_t size) {
  if (data == nullptr || size == 0) QRN_RAISE(2, "invalid param data or size(%u)", size);
  if (m_written) QRN_RAISE(1, "add after write");
  const std::string_view value(static_cast<const char*>(data), size);
  if (m_map.empty() || m_last->first != value) change(value);
  Set& set = m_last->second;
  if (set.vector == 0 && (set.uniform == 1 || set.length == 0)) {
    set.uniform = 1;
    ++set.length;
  } else {
    appendRun(set, 1, 1);
  }
  ++m_recordCount;
}

void RangeIndexer::change(std::string_view value) {
  const bool hadLast = !m_map.empty();
  // Time as it grows brings a value above all others: no search.
  auto at = !m_map.empty() && std::prev(m_map.end())->first < value ? m_map.end() : m_map.lower_bound(value);
  if (at == m_map.end() || at->first != value) {
    const Set set = newSet(at);
    char* bytes = m_bytes.append(value.size());
    std::memcpy(bytes, value.data(), value.size());
    at = m_map.emplace_hint(at, std::string_view(bytes, value.size()), set);
  }
  if (hadLast) {
    if (m_last->first < value) {
      // Every record since the last change lies below these values. Walked
      // up to the new value, not past it: the step past the greatest value
      // climbs the whole tree.
      for (auto set = m_last; set != at;) complete((++set)->second, 1);
    } else {
      for (auto set = at; set != m_last; ++set) complete(set->second, 0);
    }
  }
  m_last = at;
}

RangeIndexer::Set RangeIndexer::newSet(Map::iterator above) {
  // Every record so far is below a new highest value and above a new lowest.
  if (above == m_map.end()) return Set{m_recordCount, 0, 1};
  if (above == m_map.begin()) return Set{m_recordCount, 0, 0};
  // No record lies between the value below and the new one: its set, pending
  // bits and all, is the new value's.
  Set set = std::prev(above)->second;
  if (set.vector != 0) {
    m_vectors.push_back(m_vectors[set.vector - 1]->clone());
    set.vector = static_cast<uint32_t>(m_vectors.size());
  }
  return set;
}

void RangeIndexer::appendRun(Set& set, uint32_t bit, uint32_t count) {
  if (set.vector == 0) {
    if (set.length == 0 || set.uniform == bit) {
      set.uniform = bit;
      set.length += count;
      return;
    }
    m_vectors.push_back(BitEncoderFactory::instance().create(m_cache));
    putRun(*m_vectors.back(), set.uniform, set.length);
    set.vector = static_cast<uint32_t>(m_vectors.size());
  }
  SFWAHVector& vector = *m_vectors[set.vector - 1];
  if (count == 1) {
    vector.encoder()->appendBit(bit);
  } else {
    putRun(vector, bit, count);
  }
  set.length += count;
}

void RangeIndexer::write(COutputDesc* output) {
  if (output == nullptr) QRN_RAISE(2, "invalid param(desc)");
  if (m_written) QRN_RAISE(1, "write after write");
  m_written = true;

  // Sets without a vector are encoded one at a time on a scratch cache.
  CMemCache scratch;
  std::vector<uint64_t> offsets;
  offsets.reserve(m_map.size());
  uint64_t tableOffset = 0;
  uint32_t pending = 0;  // the missing bits: 0 below the last value, 1 from it on
  for (auto entry = m_map.begin(); entry != m_map.end(); ++entry) {
    if (entry == m_last) pending = 1;
    Set& set = entry->second;
    std::unique_ptr<SFWAHVector> encoded;
    SFWAHVector* vector = nullptr;
    if (set.vector != 0) {
      vector = m_vectors[set.vector - 1].get();
    } else {
      encoded = BitEncoderFactory::instance().create(&scratch);
      vector = encoded.get();
      putRun(*vector, set.uniform, set.length);
    }
    putRun(*vector, pending, m_recordCount - set.length);
    vector->encoder()->finish();
    vector->chunks()->closeSegment();
    vector->chunks()->writeTo(output);
    offsets.push_back(tableOffset);
    tableOffset += vector->chunks()->imageBytes();
    if (encoded) {
      encoded.reset();
      scratch.rewind();
    }
  }

  CFileOutput& file = output->file();
  fieldtable::writeHead(file, {&m_recordCount, 1}, static_cast<uint32_t>(m_map.size()));
  size_t row = 0;
  for (const auto& [value, set] : m_map) fieldtable::writeRow(file, value, offsets[row++]);
  output->writeClosingBlock(static_cast<int64_t>(tableOffset));
}

uint32_t RangeIndexer::cacheBytes() const {
  if (!m_ownedCache) QRN_RAISE(1, "no memory cache owned");
  return m_ownedCache->totalBytes();
}

}  // namespace quern
