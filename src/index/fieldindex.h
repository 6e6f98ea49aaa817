// What the three index kinds share: the kind codes, the abstract indexer,
// reader and merger through which the index set drives a field without
// knowing its kind.
#pragma once

#include <cstdint>
#include <memory>

#include "codec/sfwahvector.h"
#include "storage/outputdesc.h"

namespace quern {

// The kind of a field, as configured by its indexer word.
enum class IndexerKind : uint32_t { E1 = 0, Range = 1, Ft = 2 };

// Builds one field's file. `add` is called exactly once per record, in
// record order (the k-th call is record id k), then `write` once.
class FieldIndexer {
 public:
  virtual ~FieldIndexer() = default;
  // `data` is copied; a null pointer or a size of 0 is refused.
  virtual void add(const void* data, uint32_t size) = 0;
  // Writes the whole file, closing block included, to `output` (not owned).
  virtual void write(COutputDesc* output) = 0;
  // Bytes held by the indexer's own cache; refused when the cache is shared.
  virtual uint32_t cacheBytes() const = 0;
};

// The open form of one field's file. Construction opens the file and fails
// on an unreadable or damaged one. One thread at a time.
class FieldIndexReader {
 public:
  virtual ~FieldIndexReader() = default;
  // The records holding the value (bit n is record id n + 1), owned by the
  // caller, or null when the value is not in the index.
  virtual std::unique_ptr<SFWAHVector> search(const void* data, uint32_t size) = 0;
  // Releases the file and the tables; harmless when already closed.
  virtual void close() = 0;
};

// Joins one field of several directories. Sources are inserted in the order
// of their record ranges in the result, then `merge` is called once.
class FieldMerger {
 public:
  virtual ~FieldMerger() = default;
  // `reader` (open or closed, of this kind) is not owned and must outlive
  // the merge.
  virtual void insert(FieldIndexReader* reader) = 0;
  virtual void merge(COutputDesc* output) = 0;
};

}  // namespace quern
