#include "codec/posvector.h"

#include <algorithm>
#include <vector>

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

namespace {
[[noreturn]] void streamDoesNotFit(const CFileInput& file, int64_t length, int64_t end) {
  QRN_RAISE(2, "stream of %lld bytes ends at %lld in %s", static_cast<long long>(length), static_cast<long long>(end),
            file.path().c_str());
}
}  // namespace

int64_t POSVector::findStream(CFileInput& file, int64_t trailer) {
  const int64_t end = file.position();
  if (end < trailer) streamDoesNotFit(file, 0, end);
  file.seek(end - trailer);
  const int64_t length = file.readInt64();
  if (length < 0 || length > end - trailer) streamDoesNotFit(file, length, end - trailer);
  file.seek(end - trailer - length);
  return length;
}

int64_t POSVector::streamAt(CFileInput& file, int64_t start, int64_t end, int64_t trailer) {
  const int64_t length = end - trailer - start;
  if (start < 0 || length < 0) streamDoesNotFit(file, length, end - trailer);
  file.seek(start);
  return length;
}

void POSVector::attach(std::unique_ptr<CInputDesc> recordInput, std::unique_ptr<CInputDesc> positionInput) {
  if (!recordInput || !positionInput) QRN_RAISE(2, "invalid param(input)");
  const int64_t records = findStream(recordInput->file(), POSPostings::kRecordTrailer);
  const int64_t positions = findStream(positionInput->file(), POSPostings::kPositionTrailer);
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

void POSVector::mergeRecords(COutputDesc* out, CInputDesc* in, int64_t start, int64_t end, uint32_t base) {
  CFileInput& file = in->file();
  const int64_t length = streamAt(file, start, end, POSPostings::kRecordTrailer);
  // A short stream is read with its trailer in one piece and written back in
  // one; a long one is copied through behind its first piece. The room in
  // front of the piece lets the rewritten first value grow.
  const bool whole = length + POSPostings::kRecordTrailer <= kPieceBytes;
  const auto streamInPiece = static_cast<uint32_t>(std::min<int64_t>(length, kPieceBytes));
  std::vector<uint8_t> piece(VINTChunks::kMaxValueBytes + streamInPiece + (whole ? POSPostings::kRecordTrailer : 0));
  uint8_t* stream = piece.data() + VINTChunks::kMaxValueBytes;
  file.readChars(stream, static_cast<uint32_t>(piece.size() - VINTChunks::kMaxValueBytes));
  uint32_t first = 0;
  const uint32_t consumed = decodeVInt(stream, stream + streamInPiece, first);
  // The source's first id, moved up by the base, less the last id so far.
  const uint64_t moved = uint64_t{first} + base;
  if (consumed == 0 || first == 0 || moved <= m_postings.record || moved > UINT32_MAX) {
    QRN_RAISE(2, "record list of %s is out of order at %u", file.path().c_str(), m_postings.record);
  }
  uint8_t value[VINTChunks::kMaxValueBytes];
  const uint32_t size = encodeVInt(static_cast<uint32_t>(moved - m_postings.record), value);
  uint8_t* const rewritten = stream + consumed - size;
  std::copy(value, value + size, rewritten);
  out->file().writeChars(rewritten, size + streamInPiece - consumed);
  if (!whole) out->file().copyFrom(file, static_cast<uint64_t>(length - streamInPiece));
  m_postings.records.count(size + static_cast<uint64_t>(length - consumed));
  uint8_t trailer[POSPostings::kRecordTrailer];
  if (whole) {
    std::copy(stream + length, stream + length + sizeof trailer, trailer);
  } else {
    file.readChars(trailer, sizeof trailer);
  }
  if (static_cast<int64_t>(loadLE64(trailer)) != length) {
    streamDoesNotFit(file, static_cast<int64_t>(loadLE64(trailer)), end - POSPostings::kRecordTrailer);
  }
  const uint32_t sourceLast = loadLE32(trailer + 8);
  if (uint64_t{sourceLast} + base > UINT32_MAX || sourceLast + base < moved) {
    QRN_RAISE(2, "record list of %s is out of order at %u", file.path().c_str(), sourceLast);
  }
  m_postings.record = sourceLast + base;
}

void POSVector::writeRecordTrailer(COutputDesc* out) const {
  out->file().writeInt64(static_cast<int64_t>(m_postings.records.size()));
  out->file().writeInt(static_cast<int32_t>(m_postings.record));
}

void POSVector::mergePositions(COutputDesc* out, CInputDesc* in, int64_t start, int64_t end) {
  CFileInput& file = in->file();
  const int64_t length = streamAt(file, start, end, POSPostings::kPositionTrailer);
  int64_t stored = 0;
  if (length + POSPostings::kPositionTrailer <= kPieceBytes) {
    // A short stream and its trailer in one read, the stream in one write.
    std::vector<uint8_t> piece(static_cast<size_t>(length) + POSPostings::kPositionTrailer);
    file.readChars(piece.data(), static_cast<uint32_t>(piece.size()));
    out->file().writeChars(piece.data(), static_cast<uint32_t>(length));
    stored = static_cast<int64_t>(loadLE64(piece.data() + length));
  } else {
    out->file().copyFrom(file, static_cast<uint64_t>(length));
    stored = file.readInt64();
  }
  m_postings.positions.count(static_cast<uint64_t>(length));
  if (stored != length) streamDoesNotFit(file, stored, end - POSPostings::kPositionTrailer);
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
