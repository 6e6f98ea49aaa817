// A Range field file from the input: opened, every stored value searched,
// ranges answered, and scanned as a merge does. The closing block's
// checksum is set right before the file is written, so that inputs reach the
// value table and the set images instead of stopping at the checksum. The
// ranges' ends are taken from the values and from the input's own bytes.
#include <algorithm>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "fuzzinput.h"
#include "kinds/rangeindexreader.h"

using namespace quern;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzz::writeFieldFile("field.range", data, size);
  try {
    RangeIndexReader reader(path.c_str());
    std::vector<std::string> ends = {"", std::string(data, data + std::min<size_t>(size, 3)), "\xFF\xFF"};
    for (uint32_t i = 0; i < reader.valueCount(); ++i) {
      const std::string value(reader.value(i));
      if (auto set = reader.search(value.data(), static_cast<uint32_t>(value.size()))) set->count();
      // Ranges between the first few values, and just above them.
      if (i >= 6) continue;
      ends.push_back(value);
      ends.push_back(value + '\0');
    }
    for (const std::string& from : ends) {
      for (const std::string& to : ends) {
        if (auto set = reader.searchRange(from, to)) set->count();
      }
    }
    reader.close();
    reader.beginScan();
    // One set for the whole scan, as the merge keeps two per source.
    std::unique_ptr<SFWAHVector> set = BitDecoderFactory::instance().create();
    std::string value;
    while (reader.scanCursor() < reader.scanRows()) {
      reader.nextValue(value, *set);
      set->count();
    }
  } catch (const std::exception&) {
  }
  return 0;
}
