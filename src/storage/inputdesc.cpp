#include "storage/inputdesc.h"

#include <new>

#include "base/exception.h"
#include "storage/closingblock.h"
#include "storage/crc.h"
#include "storage/endian.h"

namespace quern {

CInputDesc::CInputDesc(std::unique_ptr<CFileInput> file) : m_file(std::move(file)) {
  if (!m_file) QRN_RAISE(2, "invalid param(indexInput)");
}

std::unique_ptr<CInputDesc> CInputDesc::clone() const {
  std::unique_ptr<CFileInput> file = m_file->clone();
  std::unique_ptr<CInputDesc> desc(new (std::nothrow) CInputDesc(std::move(file)));
  if (!desc) QRN_RAISE(2, "new CInputDesc fail");
  return desc;
}

int CInputDesc::readClosingBlock(int64_t& tableOffset) {
  const uint64_t stored = static_cast<uint64_t>(m_file->readInt64());
  uint8_t rest[closing::kSize - 8];
  m_file->readChars(rest, sizeof rest);
  if (crc64(rest, sizeof rest) != stored) return 0;
  tableOffset = static_cast<int64_t>(loadLE64(rest + closing::kTableOffset - 8));
  return 1;
}

}  // namespace quern
