// The three factories that turn a field's kind into its indexer, reader or
// merger. Stateless; one process-wide instance each. A kind they cannot make
// is refused at level 1. The caller owns what they return.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "index/fieldindex.h"
#include "storage/memcache.h"

namespace quern {

class IndexerFactory {
 public:
  virtual ~IndexerFactory() = default;
  static const IndexerFactory& instance();
  // `cache` (may be null, not owned) is shared by the indexer's bitmaps.
  std::unique_ptr<FieldIndexer> create(IndexerKind kind, CMemCache* cache) const;
};

class IndexReaderFactory {
 public:
  virtual ~IndexReaderFactory() = default;
  static const IndexReaderFactory& instance();
  std::unique_ptr<FieldIndexReader> create(IndexerKind kind, const std::string& path) const;
};

class IndexMergerFactory {
 public:
  virtual ~IndexMergerFactory() = default;
  static const IndexMergerFactory& instance();
  std::unique_ptr<FieldMerger> create(IndexerKind kind, uint32_t sourceCount) const;
};

}  // namespace quern
