#include "codec/sfwahwordcache.h"

#include "frame/exception.h"

namespace quern {

void SFWAHWordCache::failFull() { QRN_RAISE(1, "at most %u words", kCapacity); }

void SFWAHWordCache::failEmpty() { QRN_RAISE(1, "nothing to pop, size is zero"); }

void SFWAHWordCache::failIndex(uint32_t index) { QRN_RAISE(1, "invalid index %u", index); }

void SFWAHWordCache::failReduce(uint32_t count, uint32_t n) {
  QRN_RAISE(1, "invalid param count, first fill count %u less than count %u", count, n);
}

}  // namespace quern
