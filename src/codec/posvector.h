// POS lists: the posting of one term of a full-text field, which records
// hold it, how often, and at which word positions. Two VINT streams:
//   records    per record, ascending: the id less the list's previous id
//              (the first: the id itself), then the term's frequency there;
//   positions  per record, frequency-many values: the first position
//              itself, each further one less the one before it.
// Stored as part of a term's block, little-endian, lengths behind streams:
//   record stream, i64 R, u32 last record id, position stream, i64 P,
// so a stream is found from its end by reading backwards. A record's first
// position is not relative to the record before, and only the first delta of
// a record stream depends on what came before the list: lists of merged
// sources are joined by copying their bytes and rewriting one value.
// One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "codec/vintchunks.h"
#include "codec/vintvector.h"
#include "storage/inputdesc.h"
#include "storage/outputdesc.h"

namespace quern {

// The list while it is built: small and trivially destructible, so that an
// indexer keeps one per term in its cache, passing the cache in.
struct POSPostings {
  static constexpr uint32_t kRecordTrailer = 12;   // R, last record id
  static constexpr uint32_t kPositionTrailer = 8;  // P

  // One occurrence. Record ids must not fall (level 1 "%u < %u"), nor
  // positions within a record.
  void add(uint32_t record, uint32_t position, CMemCache& cache) {
    if (record == this->record && frequency != 0) {
      positions.put(position - this->position, cache);
      ++frequency;
    } else {
      addRecord(record, position, cache);
    }
    this->position = position;
  }
  // Puts the last record's frequency; once, before writing.
  void closeRecords(CMemCache& cache) { records.put(frequency, cache); }
  // The record stream, R and the last record id.
  void writeRecords(COutputDesc* out) const;
  // The position stream and P.
  void writePositions(COutputDesc* out) const;
  // The block: both streams and their trailers.
  uint64_t blockBytes() const { return records.size() + positions.size() + kRecordTrailer + kPositionTrailer; }

  VINTChunks records;
  VINTChunks positions;
  uint32_t record = 0;     // the last record id added
  uint32_t position = 0;   // the last position added
  uint32_t frequency = 0;  // occurrences in the last record so far

 private:
  void addRecord(uint32_t record, uint32_t position, CMemCache& cache);
};

class POSVector {
 public:
  // For building on `cache` (not owned), or on a cache of its own made at
  // the first value when null; a merge uses such an object as its counter.
  explicit POSVector(CMemCache* cache);
  virtual ~POSVector();
  POSVector(const POSVector&) = delete;
  POSVector& operator=(const POSVector&) = delete;

  // ---- building (see POSPostings)
  void add(uint32_t record, uint32_t position);
  void closeRecords();
  void writeRecords(COutputDesc* out) const { m_postings.writeRecords(out); }
  void writePositions(COutputDesc* out) const { m_postings.writePositions(out); }
  const POSPostings& postings() const { return m_postings; }

  // ---- reading
  // Takes the two descriptors, standing just behind the record trailer and
  // just behind the position trailer of one block, and leaves each at the
  // first byte of its stream. A length that does not fit before its trailer
  // raises level 2 "stream of %lld bytes ends at %lld in %s".
  void attach(std::unique_ptr<CInputDesc> recordInput, std::unique_ptr<CInputDesc> positionInput);
  // Gives both descriptors back (record, position), so that a reader can
  // attach the vector again to another list of the same file without new
  // descriptors or buffers.
  std::pair<std::unique_ptr<CInputDesc>, std::unique_ptr<CInputDesc>> detach() {
    return {m_records.detach(), m_positions.detach()};
  }
  // Reads at least one (delta, frequency) pair, and goes on while the record
  // reached is below `target`; false when the stream ends first. A null
  // `reached` raises level 2 "invalid param rids". Record ids are not checked
  // here: damage that makes them fall or repeat is the caller's to see.
  bool skipTo(uint32_t target, uint32_t* reached);
  uint32_t record() const { return m_record; }
  // Drops the positions of the records passed since the last alignment, so
  // that the stream stands at the current record's first position; false
  // when the stream ends first.
  bool skipToCurrent();
  // The next position of the current record; false when none is left.
  bool nextPosition(uint32_t& position) {
    uint32_t delta = 0;
    if (m_frequency == 0 || m_positions.read(&delta) == 0) return false;
    --m_frequency;
    m_position += delta;
    position = m_position;
    return true;
  }
  // Drops what is left of the current record's positions.
  void drain();
  // The file read, for failure texts; only while attached.
  const std::string& path() const { return m_records.path(); }

  // ---- merging: the object counts the merged list's bytes and last id
  // while the streams go from file to file. A source's stream and its
  // trailer fill [start, end) of `in`'s file, which is read forwards only
  // (a merge walks each source's blocks in file order); a trailer whose
  // length differs raises level 2 "stream of %lld bytes ends at %lld in %s".
  // Appends the record stream there, its records moved up by `base`: only
  // the first delta is rewritten.
  void mergeRecords(COutputDesc* out, CInputDesc* in, int64_t start, int64_t end, uint32_t base);
  void writeRecordTrailer(COutputDesc* out) const;
  // Appends the position stream there.
  void mergePositions(COutputDesc* out, CInputDesc* in, int64_t start, int64_t end);
  void writePositionTrailer(COutputDesc* out) const;

 private:
  // Streams up to this long go through a merge in one read and one write.
  static constexpr int64_t kPieceBytes = int64_t{1} << 16;

  CMemCache& cache();
  // Stands `file` at the start of the stream whose trailer of `trailer`
  // bytes ends at its position; gives the stream's length.
  static int64_t findStream(CFileInput& file, int64_t trailer);
  // Stands `file` at `start`; gives the length of the stream whose trailer
  // of `trailer` bytes ends at `end`.
  static int64_t streamAt(CFileInput& file, int64_t start, int64_t end, int64_t trailer);

  CMemCache* m_cache;
  std::unique_ptr<CMemCache> m_ownedCache;
  POSPostings m_postings;
  VINTVector m_records;
  VINTVector m_positions;
  uint32_t m_record = 0;     // the record reached
  uint32_t m_position = 0;   // the last position read in the current record
  uint32_t m_frequency = 0;  // positions of the current record not yet read
  uint32_t m_pending = 0;    // positions between the read point and the current record's end
};

// Makes lists for reading. Stateless; one process-wide instance.
class POSDecoderFactory {
 public:
  virtual ~POSDecoderFactory() = default;
  static const POSDecoderFactory& instance();
  // A list without a cache, attached to the two descriptors.
  std::unique_ptr<POSVector> create(std::unique_ptr<CInputDesc> recordInput,
                                    std::unique_ptr<CInputDesc> positionInput) const;
};

}  // namespace quern
