#include "index/indexerfactory.h"

#include "base/exception.h"
#include "kinds/e1indexer.h"
#include "kinds/e1merge.h"
#include "kinds/e1indexreader.h"
#include "kinds/ftindexer.h"
#include "kinds/ftindexreader.h"
#include "kinds/ftmerge.h"
#include "kinds/rangeindexer.h"
#include "kinds/rangeindexreader.h"
#include "kinds/rangemerge.h"

namespace quern {

const IndexerFactory& IndexerFactory::instance() {
  static const IndexerFactory factory;
  return factory;
}

std::unique_ptr<FieldIndexer> IndexerFactory::create(IndexerKind kind, CMemCache* cache) const {
  if (kind == IndexerKind::E1) return std::make_unique<E1Indexer>(cache);
  if (kind == IndexerKind::Range) return std::make_unique<RangeIndexer>(cache);
  if (kind == IndexerKind::Ft) return std::make_unique<FtIndexer>(cache);
  QRN_RAISE(1, "invalid indexer %d", static_cast<int>(kind));
}

const IndexReaderFactory& IndexReaderFactory::instance() {
  static const IndexReaderFactory factory;
  return factory;
}

std::unique_ptr<FieldIndexReader> IndexReaderFactory::create(IndexerKind kind, const std::string& path) const {
  if (kind == IndexerKind::E1) return std::make_unique<E1IndexReader>(path.c_str());
  if (kind == IndexerKind::Range) return std::make_unique<RangeIndexReader>(path.c_str());
  if (kind == IndexerKind::Ft) return std::make_unique<FtIndexReader>(path.c_str());
  QRN_RAISE(1, "invalid index reader");
}

const IndexMergerFactory& IndexMergerFactory::instance() {
  static const IndexMergerFactory factory;
  return factory;
}

std::unique_ptr<FieldMerger> IndexMergerFactory::create(IndexerKind kind, uint32_t sourceCount) const {
  if (kind == IndexerKind::E1) return std::make_unique<E1Merger>(sourceCount);
  if (kind == IndexerKind::Range) return std::make_unique<RangeMerger>(sourceCount);
  if (kind == IndexerKind::Ft) return std::make_unique<FtMerger>(sourceCount);
  QRN_RAISE(1, "invalid index merger");
}

}  // namespace quern
