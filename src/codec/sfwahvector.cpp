#include "codec/sfwahvector.h"

#include <exception>

#include "codec/sfwahcount.h"
#include "base/exception.h"
#include "base/guard.h"

namespace quern {

using namespace sfwah;

SFWAHVector::SFWAHVector(CMemCache* cache) {
  raiseAs(QRN_SITE(2), "construct SFWAHVector", [&] {
    m_chunks = std::make_unique<SFWAHChunks>(cache);
    m_encoder = std::make_unique<SFWAHEncoder>(this);
  });
}

SFWAHVector::SFWAHVector(std::unique_ptr<SFWAHEncoder> encoder, uint32_t length,
                         std::unique_ptr<SFWAHChunks> chunks)
    : m_encoder(std::move(encoder)), m_length(length), m_chunks(std::move(chunks)) {
  if (!m_encoder) QRN_RAISE(2, "invalid encoder");
  if (!m_chunks) QRN_RAISE(2, "invalid chunks");
  m_encoder->setVector(this);
}

std::unique_ptr<SFWAHVector> SFWAHVector::clone() const {
  return raiseAs(QRN_SITE(2), "SFWAHVector clone", [&] {
    std::unique_ptr<SFWAHChunks> chunks = m_chunks->clone();
    // The encoder points at its vector; the new vector re-points it.
    auto encoder = std::make_unique<SFWAHEncoder>(const_cast<SFWAHVector*>(this), m_encoder->activeWord(),
                                                  m_encoder->activeBits(), m_encoder->state(), &m_encoder->cache());
    return std::make_unique<SFWAHVector>(std::move(encoder), m_length, std::move(chunks));
  });
}

void SFWAHVector::append(SFWAHVector* source) {
  if (source == nullptr || source == this) QRN_RAISE(2, "invalid param(source)");
  if (!m_encoder->empty()) QRN_RAISE(1, "append needs a closed encoder");
  SFWAHChunks& from = *source->m_chunks;
  while (from.nextSegment()) {
    m_chunks->appendFrom(from, from.segmentLength());
    m_chunks->closeSegment();
  }
}

void SFWAHVector::decodeWord(SFWAHWordCache& cache) {
  uint32_t words[3];
  const uint32_t count = expandWord(m_chunks->nextWord(), words);
  for (uint32_t i = 0; i < count; ++i) cache.push(words[i]);
}

uint32_t SFWAHVector::count() { return SFWAHCount(this).run(); }

BitEncoderFactory& BitEncoderFactory::instance() {
  static BitEncoderFactory factory;
  return factory;
}

std::unique_ptr<SFWAHVector> BitEncoderFactory::create(CMemCache* cache) const {
  return std::make_unique<SFWAHVector>(cache);
}

BitDecoderFactory& BitDecoderFactory::instance() {
  static BitDecoderFactory factory;
  return factory;
}

std::unique_ptr<SFWAHVector> BitDecoderFactory::create() const { return std::make_unique<SFWAHVector>(nullptr); }

}  // namespace quern
