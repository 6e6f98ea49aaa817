// A bitmap image from the input: loaded, counted, its newest ten taken, and
// combined with a copy of itself by all three operators. Damaged images must
// be refused with a failure, never read outside their words.
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "codec/sfwahcount.h"
#include "codec/sfwahintersect.h"
#include "codec/sfwahtop.h"
#include "codec/sfwahunion.h"
#include "codec/sfwahvector.h"
#include "codec/sfwahxor.h"
#include "fuzzinput.h"
#include "storage/inputdesc.h"

using namespace quern;

namespace {

std::unique_ptr<SFWAHVector> load(const std::string& path) {
  CInputDesc input(std::make_unique<CFileInput>(path.c_str()));
  auto vector = BitDecoderFactory::instance().create();
  vector->chunks()->readFrom(&input);
  return vector;
}

template <typename Operator>
void combine(const std::string& path) {
  try {
    std::unique_ptr<SFWAHVector> first = load(path);
    std::unique_ptr<SFWAHVector> second = load(path);
    Operator::of(std::move(first), std::move(second))->count();
  } catch (const std::exception&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzz::writeInput("bitmap", data, size);
  try {
    auto vector = load(path);
    vector->count();
    vector->chunks()->rewind();
    uint32_t total = 0;
    auto queue = SFWAHTop(vector.get(), 10).run(&total);
    while (queue->size() != 0) queue->pop();
  } catch (const std::exception&) {
    return 0;
  }
  combine<SFWAHIntersect>(path);
  combine<SFWAHUnion>(path);
  combine<SFWAHXor>(path);
  return 0;
}
