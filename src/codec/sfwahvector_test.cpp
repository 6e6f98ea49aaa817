#include "codec/sfwahvector.h"

#include <gtest/gtest.h>

#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::Bits;
using test::bitsWithOnes;
using test::raises;
using Words = std::vector<uint32_t>;

std::string image(SFWAHVector& vector, const test::TempDir& dir) {
  const std::string path = dir.file("v.e1");
  {
    COutputDesc out(std::make_unique<CFileOutput>(path.c_str()));
    vector.chunks()->writeTo(&out);
  }
  return test::readFile(path);
}

std::string bytes(std::initializer_list<uint32_t> words) {
  std::string text;
  for (uint32_t word : words) {
    char le[4];
    storeLE32(le, word);
    text.append(le, 4);
  }
  return text;
}

TEST(SFWAHVector, FileImages) {
  test::TempDir dir;
  auto example = test::makeVector({bitsWithOnes(130, {1, 3, 100})});
  EXPECT_EQ(image(*example, dir), std::string("\x01\0\0\0\x03\0\0\0\x01\x02\x50\x3E\0\0\0\0\x06\0\0\0", 20));
  EXPECT_EQ(example->chunks()->imageBytes(), 20u);
  auto loaded = test::reload(*example, dir.file("v.e1"));
  ASSERT_EQ(loaded->chunks()->chunks().size(), 1u);
  EXPECT_EQ(test::storedWords(*loaded->chunks()), (Words{0x3E500201, 0, 6}));
  EXPECT_EQ(loaded->count(), 3u);

  SFWAHVector none(nullptr);
  EXPECT_EQ(image(none, dir), bytes({0}));
  auto loadedNone = test::reload(none, dir.file("none"));
  EXPECT_FALSE(loadedNone->chunks()->nextSegment());
  EXPECT_EQ(loadedNone->count(), 0u);
  EXPECT_EQ(image(*test::makeVector({Bits()}), dir), bytes({1, 2, 0, 0}));
}

TEST(SFWAHVector, ChunksOfOneHundredTwentyEightBytes) {
  test::TempDir dir;
  SFWAHVector vector(nullptr);
  for (uint32_t i = 0; i < 32; ++i) vector.chunks()->appendWord(0x80000000 | (i * 3 + 1));
  EXPECT_EQ(vector.chunks()->chunks().size(), 1u);
  for (uint32_t i = 32; i < 70; ++i) vector.chunks()->appendWord(0x80000000 | (i * 3 + 1));
  EXPECT_EQ(vector.chunks()->chunks().size(), 3u) << "the 33rd and the 65th word open a chunk";
  vector.chunks()->appendWord(0);
  vector.chunks()->appendWord(0);
  vector.chunks()->closeSegment();
  const Words words = test::storedWords(*vector.chunks());
  auto loaded = test::reload(vector, dir.file("v"));
  EXPECT_EQ(loaded->chunks()->chunks().size(), 1u);
  Words walked;
  while (loaded->chunks()->nextSegment()) {
    for (uint32_t i = 0; i < loaded->chunks()->segmentLength(); ++i) walked.push_back(loaded->chunks()->nextWord());
  }
  EXPECT_EQ(walked, words);
  EXPECT_FALSE(loaded->chunks()->nextSegment()) << "past the end stays false";
  loaded->chunks()->rewind();
  EXPECT_EQ(loaded->count(), vector.count());
}

TEST(SFWAHVector, DecodeWordExpandsCompactWords) {
  SFWAHVector vector(nullptr);
  for (uint32_t word : {0x3E500201u, 0x50016004u, 0x87FC0000u}) vector.chunks()->appendWord(word);
  SFWAHWordCache cache;
  const Words expected[] = {{0xD0000000, 2, 0x81000000}, {1, 0x80600000, 4}, {0x87FC0000}};
  for (const Words& words : expected) {
    vector.decodeWord(cache);
    Words got;
    while (!cache.empty()) got.push_back(cache.pop());
    EXPECT_EQ(got, words);
  }
}

// Segments are copied word for word (the E1 merge's worked example checks
// the words); a walked source gives nothing more until it is rewound.
TEST(SFWAHVector, AppendCopiesSegments) {
  auto source = test::makeVector({bitsWithOnes(3, {1, 3})});
  SFWAHVector target(nullptr);
  target.append(source.get());
  target.append(source.get());
  EXPECT_EQ(target.chunks()->segmentWords(), (Words{2}));
  source->chunks()->rewind();
  target.append(source.get());
  EXPECT_EQ(test::storedWords(*target.chunks()), (Words{0xA0000000, 3, 0xA0000000, 3}));

  SFWAHVector open(nullptr);
  open.encoder()->appendBit(1);
  EXPECT_TRUE(raises([&] { open.append(source.get()); }, 1, "append needs a closed encoder"));
}

// A clone taken at any moment of building grows into the same image as the
// original, on its own words.
TEST(SFWAHVector, CloneOfHalfBuiltVectors) {
  std::mt19937 random(11);
  CMemCache shared;
  for (int round = 0; round < 200; ++round) {
    const Bits bits = test::randomBits(random, random() % 5000);
    const uint32_t cut = bits.empty() ? 0 : static_cast<uint32_t>(random() % bits.size());
    SFWAHVector original(round % 2 ? &shared : nullptr);
    test::appendSegment(original, Bits(random() % 100));
    for (uint32_t i = 0; i < cut; ++i) original.encoder()->appendBit(bits[i]);
    original.setLength(cut);
    auto copy = original.clone();
    EXPECT_EQ(copy->length(), cut);
    EXPECT_EQ(copy->chunks()->cache() == &shared, round % 2 == 1);
    for (SFWAHVector* vector : {&original, copy.get()}) {
      for (uint32_t i = cut; i < bits.size(); ++i) vector->encoder()->appendBit(bits[i]);
      vector->encoder()->finish();
      vector->chunks()->closeSegment();
    }
    ASSERT_EQ(test::storedWords(*copy->chunks()), test::storedWords(*original.chunks())) << round;
    EXPECT_EQ(copy->chunks()->segmentWords(), original.chunks()->segmentWords());
  }
}

TEST(SFWAHVector, DamagedImagesAreRefused) {
  test::TempDir dir;
  auto vector = test::makeVector({bitsWithOnes(300, {7, 200}), bitsWithOnes(40, {40})});
  const std::string good = image(*vector, dir);
  const std::string path = dir.file("bad");
  const auto load = [&](const std::string& content) {
    test::writeFile(path, content);
    CInputDesc in(std::make_unique<CFileInput>(path.c_str()));
    auto loaded = BitDecoderFactory::instance().create();
    loaded->chunks()->readFrom(&in);
    return loaded->count();
  };
  for (size_t size = 0; size < good.size(); ++size) {
    EXPECT_THROW(load(good.substr(0, size)), std::runtime_error) << size;
  }
  EXPECT_TRUE(raises([&] { load(bytes({0x40000000, 2})); }, 2, "invalid segment count(1073741824)"));
  EXPECT_TRUE(raises([&] { load(bytes({1, 1, 0})); }, 2, "invalid segment words(1)"));
  EXPECT_TRUE(raises([&] { load(bytes({1, 2, 0, 31})); }, 2, "invalid tail length(31)"));
  EXPECT_EQ(load(bytes({1, 2, 0xFFFFFFFF, 5})), 5u) << "bits past the tail length do not count";
}

TEST(SFWAHVector, Failures) {
  SFWAHVector vector(nullptr);
  EXPECT_TRUE(raises([&] { vector.chunks()->addChunk(nullptr, 0); }, 2, "invalid chunk"));
  EXPECT_TRUE(raises([&] { vector.chunks()->writeTo(nullptr); }, 2, "index out put is null"));
  EXPECT_TRUE(raises([] { SFWAHVector(nullptr, 0, std::make_unique<SFWAHChunks>(nullptr)); }, 2, "invalid encoder"));
  EXPECT_TRUE(raises([&] { SFWAHVector(std::make_unique<SFWAHEncoder>(&vector), 0, nullptr); }, 2,
                     "invalid chunks"));
  vector.encoder()->appendZeros(40);
  vector.encoder()->finish();
  test::TempDir dir;
  COutputDesc out(std::make_unique<CFileOutput>(dir.file("open").c_str()));
  EXPECT_TRUE(raises([&] { vector.chunks()->writeTo(&out); }, 1, "3 words outside a closed segment"));
}

}  // namespace
}  // namespace quern
