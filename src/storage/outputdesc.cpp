#include "storage/outputdesc.h"

#include <algorithm>
#include <cstring>

#include "base/exception.h"
#include "platform/platform.h"
#include "storage/closingblock.h"
#include "storage/crc.h"
#include "storage/endian.h"

namespace quern {

COutputDesc::COutputDesc(std::unique_ptr<CFileOutput> file) : m_file(std::move(file)) {
  if (!m_file) QRN_RAISE(2, "invalid param(indexOutput)");
}

void COutputDesc::writeClosingBlock(int64_t tableOffset) {
  uint8_t block[closing::kSize] = {};
  storeLE64(block + closing::kTableOffset, static_cast<uint64_t>(tableOffset));
  storeLE32(block + closing::kMagicOffset, closing::kMagic);
  storeLE32(block + closing::kVersionOffset, closing::kVersion);
  storeLE64(block + closing::kTimeOffset, static_cast<uint64_t>(platform::currentTime()));
  const std::string path = m_file->path();
  std::memcpy(block + closing::kPathOffset, path.data(), std::min<size_t>(path.size(), closing::kPathSize));
  storeLE64(block + closing::kChecksumOffset, crc64(block + 8, closing::kSize - 8));
  m_file->writeChars(block, closing::kSize);
  m_file->close();
}

}  // namespace quern
