#include "kinds/ftindexer.h"

#include <vector>

#include "base/exception.h"
#include "base/guard.h"
#include "index/fieldtable.h"
#include "wordcleave.h"

namespace quern {

namespace {
uint32_t termsSize() {
  const int size = word_cleave_terms_size();
  return size > 0 ? static_cast<uint32_t>(size) : 0;
}
}  // namespace

FtIndexer::FtIndexer(CMemCache* cache)
    : m_ownedCache(cache == nullptr ? std::make_unique<CMemCache>() : nullptr),
      m_cache(cache == nullptr ? m_ownedCache.get() : cache),
      m_termsSize(termsSize()) {
  raiseAs(QRN_SITE(2), "construct FtIndexer", [&] {
    m_terms = std::make_unique<FtTermTable>(m_termsSize);
  }, [&] { m_ownedCache.reset(); });
}

FtIndexer::~FtIndexer() {
  keepFailures(QRN_SITE(0), "destructor FtIndexer", [&] {
    m_ownedCache.reset();
  });
}

void FtIndexer::add(const void* data, uint32_t size) {
  if (data == nullptr || size == 0) QRN_RAISE(2, "invalid param data or size(%u)", size);
  if (m_written) QRN_RAISE(1, "add after write");
  const unsigned int count = word_cleave_run(data, size);
  if (count == 0xFFFFFFFFu) QRN_RAISE(2, "slice text fail, %s", word_cleave_error());
  const uint32_t record = m_recordCount + 1;
  for (uint32_t i = 0; i < count; ++i) {
    const int32_t id = word_cleave_word(i);
    if (id < 0 || static_cast<uint32_t>(id) >= m_termsSize) {
      QRN_RAISE(1, "term id (%d) is wrong, size(%u)", id, m_termsSize);
    }
    m_terms->findOrAdd(id, *m_cache).postings.add(record, i + 1, *m_cache);
  }
  ++m_recordCount;
}

void FtIndexer::write(COutputDesc* output) {
  if (output == nullptr) QRN_RAISE(2, "invalid param(desc)");
  if (m_written) QRN_RAISE(1, "write after write");
  m_written = true;
  const std::vector<FtTerm*> terms = m_terms->sorted();
  uint64_t tableOffset = 0;
  for (FtTerm* term : terms) {
    term->postings.closeRecords(*m_cache);
    term->postings.writeRecords(output);
    term->postings.writePositions(output);
    tableOffset += term->postings.blockBytes();
  }
  CFileOutput& file = output->file();
  fieldtable::writeHead(file, {&m_recordCount, 1}, static_cast<uint32_t>(terms.size()));
  uint64_t block = 0;
  for (const FtTerm* term : terms) {
    // The row of kinds/ftformat.h.
    const POSPostings& postings = term->postings;
    file.writeInt(term->id);
    file.writeInt64(static_cast<int64_t>(block + postings.records.size() + POSPostings::kRecordTrailer));
    file.writeInt64(static_cast<int64_t>(block + postings.blockBytes()));
    block += postings.blockBytes();
  }
  output->writeClosingBlock(static_cast<int64_t>(tableOffset));
}

uint32_t FtIndexer::cacheBytes() const {
  if (!m_ownedCache) QRN_RAISE(1, "no memory cache owned");
  return m_ownedCache->totalBytes();
}

}  // namespace quern
