#include "codec/posvector.h"

#include "base/exception.h"
#include "codec/pospairs.h"
#include "storage/endian.h"

namespace quern {

// ---- POSPostings -------------------------------------------------------------

void POSPostings::addRecord(uint32_t record, uint32_t position, CMemCache& cache) {
  if (record < this->record) QRN_RAISE(1, "%u < %u", record, this->record);
  // The record just ended gets its frequency now that it is known.
  if (this->record != 0) records.put(frequency, cache);
  records.put(record - this->record, cache);
  positions.put(position, cache);
  frequency = 1;
  this->record = record;
}

void POSPostings::writeRecords(COutputDesc* out) const {
  records.writeTo(out);
  out->file().writeInt64(static_cast<int64_t>(records.size()));
  out->file().writeInt(static_cast<int32_t>(record));
}

void POSPostings::writePositions(COutputDesc* out) const {
  positions.writeTo(out);
  out->file().writeInt64(static_cast<int64_t>(positions.size()));
}

// ---- POSVector ---------------------------------------------------------------

POSVector::POSVector(CMemCache* cache) : m_cache(cache) {}

POSVector::~POSVector() = default;

CMemCache& POSVector::cache() {
  if (m_cache == nullptr) {
    m_ownedCache = std::make_unique<CMemCache>();
    m_cache = m_ownedCache.get();
  }
  return *m_cache;
}

void POSVector::add(uint32_t record, uint32_t position) { m_postings.add(record, position, cache()); }

void POSVector::closeRecords() { m_postings.closeRecords(cache()); }

int64_t POSVector::findStream(CFileInput& file, int64_t trailer, uint32_t* lastRecord) {
  const int64_t end = file.position();
  if (end < trailer) QRN_RAISE(2, "stream of %lld bytes ends at %lld in %s", 0LL, static_cast<long long>(end),
                               file.path().c_str());
  file.seek(end - trailer);
  const int64_t length = file.readInt64();
  if (lastRecord != nullptr) *lastRecord = static_cast<uint32_t>(file.readInt());
  if (length < 0 || length > end - trailer) {
    QRN_RAISE(2, "stream of %lld bytes ends at %lld in %s", static_cast<long long>(length),
              static_cast<long long>(end - trailer), file.path().c_str());
  }
  file.seek(end - trailer - length);
  return length;
}

void POSVector::attach(std::unique_ptr<CInputDesc> recordInput, std::unique_ptr<CInputDesc> positionInput) {
  if (!recordInput || !positionInput) QRN_RAISE(2, "invalid param(input)");
  const int64_t records = findStream(recordInput->file(), POSPostings::kRecordTrailer, nullptr);
  const int64_t positions = findStream(positionInput->file(), POSPostings::kPositionTrailer, nullptr);
  m_records.attach(std::move(recordInput), records);
  m_positions.attach(std::move(positionInput), positions);
  m_record = m_position = m_frequency = m_pending = 0;
}

bool POSVector::skipTo(uint32_t target, uint32_t* reached) {
  if (reached == nullptr) QRN_RAISE(2, "invalid param rids");
  // The walk's state in locals (members would be stored at every pair).
  // Pairs are taken in place while the window holds two whole values, eight
  // bytes at a time while the target is further than their deltas; the
  // stream's last bytes go through `read`. A record id that does not rise is
  // caught where records are used.
  constexpr ptrdiff_t kPairBytes = 2 * ptrdiff_t{VINTChunks::kMaxValueBytes};
  uint32_t record = m_record;
  uint32_t frequency = m_frequency;
  uint32_t pending = m_pending;
  bool more = true;
  do {
    const VINTVector::Window window = m_records.window(static_cast<uint32_t>(kPairBytes));
    const uint8_t* p = window.next;
    uint32_t delta = 0;
    if (window.end - p < kPairBytes) {
      more = m_records.read(&delta) != 0 && m_records.read(&frequency) != 0;
      record += delta;
      pending += frequency;
      continue;
    }
    do {
      POSPairSums sums;
      if (sumPairs(loadLE64(p), sums) && uint64_t{record} + sums.deltas < target) {
        record += sums.deltas;
        pending += sums.frequencies;
        p += sums.bytes;
        continue;
      }
      delta = m_records.decode(p);
      frequency = m_records.decode(p);
      record += delta;
      pending += frequency;
    } while (record < target && window.end - p >= kPairBytes);
    m_records.consume(p);
  } while (more && record < target);
  m_record = record;
  m_frequency = frequency;
  m_pending = pending;
  *reached = record;
  return more;
}

bool POSVector::skipToCurrent() {
  if (m_pending < m_frequency) {
    QRN_RAISE(1, "skip term freq(%u) is less than current term freq(%u)", m_pending, m_frequency);
  }
  const uint32_t earlier = m_pending - m_frequency;
  m_pending = m_frequency;
  m_position = 0;
  return m_positions.skip(earlier);
}

void POSVector::drain() {
  m_positions.skip(m_frequency);
  m_frequency = 0;
  m_position = 0;
  m_pending = 0;
}

void POSVector::mergeRecords(COutputDesc* out, CInputDesc* in, uint32_t base) {
  CFileInput& file = in->file();
  uint32_t sourceLast = 0;
  const int64_t length = findStream(file, POSPostings::kRecordTrailer, &sourceLast);
  uint32_t consumed = 0;
  const uint32_t first = length == 0 ? 0 : file.readVInt(consumed);
  // The source's first id, moved up by the base, less the last id so far.
  const uint64_t moved = uint64_t{first} + base;
  if (consumed > length || first == 0 || moved <= m_postings.record || moved > UINT32_MAX ||
      uint64_t{sourceLast} + base > UINT32_MAX) {
    QRN_RAISE(2, "record list of %s is out of order at %u", file.path().c_str(), m_postings.record);
  }
  const uint32_t written = out->file().writeVInt(static_cast<uint32_t>(moved - m_postings.record));
  out->file().copyFrom(file, static_cast<uint64_t>(length - consumed));
  m_postings.records.count(written + static_cast<uint64_t>(length - consumed));
  m_postings.record = sourceLast + base;
}

void POSVector::writeRecordTrailer(COutputDesc* out) const {
  out->file().writeInt64(static_cast<int64_t>(m_postings.records.size()));
  out->file().writeInt(static_cast<int32_t>(m_postings.record));
}

void POSVector::mergePositions(COutputDesc* out, CInputDesc* in) {
  const int64_t length = findStream(in->file(), POSPostings::kPositionTrailer, nullptr);
  out->file().copyFrom(in->file(), static_cast<uint64_t>(length));
  m_postings.positions.count(static_cast<uint64_t>(length));
}

void POSVector::writePositionTrailer(COutputDesc* out) const {
  out->file().writeInt64(static_cast<int64_t>(m_postings.positions.size()));
}

// ---- POSDecoderFactory --------------------------------------------------------

const POSDecoderFactory& POSDecoderFactory::instance() {
  static const POSDecoderFactory factory;
  return factory;
}

std::unique_ptr<POSVector> POSDecoderFactory::create(std::unique_ptr<CInputDesc> recordInput,
                                                     std::unique_ptr<CInputDesc> positionInput) const {
  auto list = std::make_unique<POSVector>(nullptr);
  list->attach(std::move(recordInput), std::move(positionInput));
  return list;
}

}  // namespace quern
