// An equality field file from the input, opened for search and scanned as a
// merge does. The closing block's checksum is set right before the file is
// written, so that inputs reach the term table and the posting lists instead
// of stopping at the checksum.
#include <cstdint>
#include <cstring>
#include <exception>

#include "fuzzinput.h"
#include "kinds/e1indexreader.h"

using namespace quern;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzz::writeFieldFile("field.e1", data, size);
  try {
    E1IndexReader reader(path.c_str());
    const uint32_t terms = reader.termCount();
    for (uint32_t i = 0; i < terms && i < 4; ++i) {
      const std::string term = reader.term(i);
      if (auto vector = reader.search(term.data(), static_cast<uint32_t>(term.size()))) vector->count();
    }
    reader.search("absent", 6);
    reader.close();
    reader.beginScan();
    // One list for the whole scan, as the merge keeps one per source.
    std::unique_ptr<SFWAHVector> list = BitDecoderFactory::instance().create();
    std::string term;
    while (reader.scanCursor() < reader.scanTermCount()) {
      reader.nextTerm(term, *list);
      list->count();
    }
  } catch (const std::exception&) {
  }
  return 0;
}
