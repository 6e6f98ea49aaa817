#include "config/resource.h"

#include "base/exception.h"
#include "config/config.h"
#include "storage/crc.h"
#include "storage/textutil.h"

namespace quern {

const Resource& Resource::instance() {
  // A constructor that raises leaves the static unmade: the next call loads again.
  static const Resource resource("resource.ini");
  return resource;
}

Resource::Resource(const char* path) {
  if (m_ini.Load(path) != 0) QRN_RAISE(2, "load %s failed", path);
}

std::string Resource::Get(const char* id) const {
  std::string text = trimBlanks(configText(m_ini, "Chinese", id));
  if (text.empty()) QRN_RAISE(2, "get id:%s resource fail", id);
  return text;
}

uint32_t Resource::Crc(const char* id) const {
  static const CCrc crc;
  const std::string text = Get(id);
  return crc.compute(text.data(), static_cast<uint32_t>(text.size()));
}

}  // namespace quern
