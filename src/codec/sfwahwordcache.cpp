#include "codec/sfwahwordcache.h"

#include "base/exception.h"

namespace quern {

void SFWAHWordCache::failFull() { QRN_RAISE(1, "at most %u words", kCapacity); }

void SFWAHWordCache::failEmpty() { QRN_RAISE(1, "nothing to pop, size is zero"); }

void SFWAHWordCache::failIndex(uint32_t index) { QRN_RAISE(1, "invalid index %u", index); }

}  // namespace quern
