#include "kinds/e1indexer.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "frame/exception.h"

namespace quern {

E1Indexer::E1Indexer(CMemCache* cache) : m_cache(cache) {
  if (m_cache == nullptr) {
    m_ownedCache = std::make_unique<CMemCache>();
    m_cache = m_ownedCache.get();
  }
}

E1Indexer::~E1Indexer() {
  try {
    m_lastVector = nullptr;
    m_vectors.clear();
    m_termTable.clear();
    m_ownedCache.reset();
  } catch (const std::exception& failure) {
    QRN_TRACE(0, "destructor E1Indexer fail, %s", failure.what());
  } catch (...) {
    QRN_TRACE(0, "destructor E1Indexer fail, other exception");
  }
}

void E1Indexer::add(const void* data, uint32_t size) {
  if (data == nullptr || size == 0) QRN_RAISE(2, "invalid data or size(%u)", size);
  if (m_written) QRN_RAISE(1, "add after write");
  SFWAHVector* vector = m_lastVector;
  // A run of one value costs a comparison per record and no hashing.
  if (vector == nullptr || size != m_lastValue.size() || std::memcmp(data, m_lastValue.data(), size) != 0) {
    const std::string_view value(static_cast<const char*>(data), size);
    auto found = m_termTable.find(value);
    vector = found != m_termTable.end() ? found->second : newTerm(data, size);
    m_lastValue.assign(value);
    m_lastVector = vector;
    // The gap since this term's last record is paid now, in one call.
    if (vector->length() < m_recordCount) {
      vector->encoder()->appendZeros(m_recordCount - vector->length());
      vector->setLength(m_recordCount);
    }
  }
  vector->encoder()->appendBit(1);
  vector->setLength(vector->length() + 1);
  ++m_recordCount;
}

SFWAHVector* E1Indexer::newTerm(const void* data, uint32_t size) {
  std::unique_ptr<SFWAHVector> vector = BitEncoderFactory::instance().create(m_cache);
  if (m_recordCount != 0) {
    vector->encoder()->appendZeros(m_recordCount);
    vector->setLength(m_recordCount);
  }
  SFWAHVector* raw = vector.get();
  m_vectors.push_back(std::move(vector));
  m_termTable.emplace(std::string(static_cast<const char*>(data), size), raw);
  return raw;
}

void E1Indexer::write(COutputDesc* output) {
  if (output == nullptr) QRN_RAISE(2, "invalid param(desc)");
  if (m_written) QRN_RAISE(1, "write after write");
  m_written = true;
  for (const std::unique_ptr<SFWAHVector>& vector : m_vectors) {
    if (vector->length() < m_recordCount) {
      vector->encoder()->appendZeros(m_recordCount - vector->length());
      vector->setLength(m_recordCount);
    }
    vector->encoder()->finish();
    vector->chunks()->closeSegment();
  }

  // std::string compares as unsigned bytes, a prefix first: the file's order.
  using Term = std::pair<const std::string*, SFWAHVector*>;
  std::vector<Term> sorted;
  sorted.reserve(m_termTable.size());
  for (const auto& [term, vector] : m_termTable) sorted.emplace_back(&term, vector);
  std::sort(sorted.begin(), sorted.end(), [](const Term& a, const Term& b) { return *a.first < *b.first; });

  uint64_t tableOffset = 0;
  for (const Term& term : sorted) {
    term.second->chunks()->writeTo(output);
    tableOffset += term.second->chunks()->imageBytes();
  }
  CFileOutput& file = output->file();
  file.writeInt(1);
  file.writeInt(static_cast<int32_t>(m_recordCount));
  file.writeInt(static_cast<int32_t>(sorted.size()));
  uint64_t offset = 0;
  for (const Term& term : sorted) {
    file.writeInt(static_cast<int32_t>(term.first->size()));
    file.writeChars(term.first->data(), static_cast<uint32_t>(term.first->size()));
    file.writeInt64(static_cast<int64_t>(offset));
    offset += term.second->chunks()->imageBytes();
  }
  output->writeClosingBlock(static_cast<int64_t>(tableOffset));
}

uint32_t E1Indexer::cacheBytes() const {
  if (!m_ownedCache) QRN_RAISE(1, "no memory cache owned");
  return m_ownedCache->totalBytes();
}

}  // namespace quern
