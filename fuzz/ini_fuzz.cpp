// An INI file from the input: loaded, every section and key read back, a
// value changed and the file saved again.
#include <cstdint>

#include "config/ini.h"
#include "fuzzinput.h"

using namespace quern;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzz::writeInput("file.ini", data, size);
  IniFile ini;
  if (ini.Load(path.c_str()) != 0) return 0;
  char buffer[64];
  for (const auto* section = ini.firstSection(); section != nullptr; section = section->next) {
    for (const auto* key = section->value.keys.first(); key != nullptr; key = key->next) {
      ini.GetString(section->value.name, key->key(), "", buffer, sizeof buffer);
    }
  }
  ini.SetValue("Global", "maxIndexMemory", "64");
  ini.Save(path.c_str());
  return 0;
}
