// Test helpers for bitmaps: building vectors from plain bits, the
// stored words of a vector, and a reference decoder written from the word
// format alone, independent of the library's own reader.
#pragma once

#include <cstdint>
#include <algorithm>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <vector>

#include "codec/sfwahvector.h"
#include "storage/inputdesc.h"
#include "storage/outputdesc.h"
#include "support/raises.h"

namespace quern::test {

using Bits = std::vector<bool>;

// Grows `vector` by `bits` the way the indexers do: a gap is one
// appendZeros, a hit one appendBit. Closes the segment.
inline void appendSegment(SFWAHVector& vector, const Bits& bits) {
  SFWAHEncoder& encoder = *vector.encoder();
  uint32_t done = 0;
  for (uint32_t i = 0; i < bits.size(); ++i) {
    if (!bits[i]) continue;
    encoder.appendZeros(i - done);
    encoder.appendBit(1);
    done = i + 1;
  }
  encoder.appendZeros(static_cast<uint32_t>(bits.size()) - done);
  encoder.finish();
  vector.chunks()->closeSegment();
}

// One vector, one segment per entry.
inline std::unique_ptr<SFWAHVector> makeVector(const std::vector<Bits>& segments) {
  auto vector = std::make_unique<SFWAHVector>(nullptr);
  for (const Bits& bits : segments) appendSegment(*vector, bits);
  return vector;
}

// All stored words, segment after segment, closing words included.
inline std::vector<uint32_t> storedWords(const SFWAHChunks& chunks) {
  std::vector<uint32_t> words;
  for (const SFWAHChunk& chunk : chunks.chunks()) {
    for (uint32_t at = 0; at < chunk.used; at += 4) words.push_back(loadLE32(chunk.data + at));
  }
  return words;
}

// Writes the image of `vector` to `path` and loads it into a new vector.
inline std::unique_ptr<SFWAHVector> reload(SFWAHVector& vector, const std::string& path) {
  {
    COutputDesc out(std::make_unique<CFileOutput>(path.c_str()));
    vector.chunks()->writeTo(&out);
  }
  CInputDesc in(std::make_unique<CFileInput>(path.c_str()));
  std::unique_ptr<SFWAHVector> loaded = BitDecoderFactory::instance().create();
  loaded->chunks()->readFrom(&in);
  return loaded;
}

// Expands one segment of stored words to its bits.
inline Bits referenceDecode(const std::vector<uint32_t>& words) {
  Bits bits;
  const auto literal = [&](uint32_t byte, uint32_t index) {
    const uint32_t group = byte << (8 * index);
    for (int bit = 30; bit >= 0; --bit) bits.push_back(group >> bit & 1);
  };
  const auto fill = [&](uint32_t groups, bool one) { bits.insert(bits.end(), size_t{groups} * 31, one); };
  for (size_t i = 0; i + 2 < words.size(); ++i) {
    const uint32_t w = words[i];
    if (w >> 31) {
      for (int bit = 30; bit >= 0; --bit) bits.push_back(w >> bit & 1);
    } else if (w >> 29 == 0) {
      fill(w & 0x1FFFFFFF, false);
    } else if (w >> 29 == 3) {
      fill(w & 0x1FFFFFFF, true);
    } else if (w >> 29 == 1) {
      literal(w >> 16 & 0xFF, w >> 27 & 3);
      fill(w >> 8 & 0xFF, false);
      literal(w & 0xFF, w >> 25 & 3);
    } else {
      fill(w >> 16 & 0xFF, false);
      literal(w >> 8 & 0xFF, w >> 27 & 3);
      fill(w & 0xFF, false);
    }
  }
  const uint32_t tail = words[words.size() - 2];
  for (uint32_t i = 0; i < words.back(); ++i) bits.push_back(tail >> (31 - i) & 1);
  return bits;
}

// Every segment of a vector, expanded by the reference decoder and joined.
inline Bits bitsOf(SFWAHVector& vector) {
  const std::vector<uint32_t> words = storedWords(*vector.chunks());
  Bits bits;
  size_t at = 0;
  for (uint32_t count : vector.chunks()->segmentWords()) {
    const Bits segment = referenceDecode(std::vector<uint32_t>(words.begin() + at, words.begin() + at + count));
    bits.insert(bits.end(), segment.begin(), segment.end());
    at += count;
  }
  return bits;
}

// Bits of one of several shapes, drawn by `random`: empty of ones, full,
// sparse, dense, long runs, single-byte groups between zero fills of 1 to
// 300 groups, or stretches mixing all of these.
inline Bits randomBits(std::mt19937& random, uint32_t length) {
  const auto draw = [&](uint32_t low, uint32_t high) {
    return std::uniform_int_distribution<uint32_t>(low, high)(random);
  };
  const auto chance = [&](double p) { return std::uniform_real_distribution<double>(0, 1)(random) < p; };
  Bits bits(length);
  const auto fill = [&](uint32_t from, uint32_t end, double density) {
    for (uint32_t i = from; i < std::min(end, length); ++i) bits[i] = chance(density);
  };
  const uint32_t shape = draw(0, 6);
  if (shape < 4) {
    fill(0, length, shape == 0 ? 0.0 : shape == 1 ? 1.0 : shape == 2 ? 0.003 : 0.5);
  } else if (shape == 4) {
    for (uint32_t i = 0, one = draw(0, 1), run; i < length; one = !one, i += run) {
      fill(i, i + (run = draw(1, 9000)), one);
    }
  } else if (shape == 5) {
    // A single-byte group, then a gap of whole zero groups.
    for (uint32_t group = draw(0, 3); group * 31 < length; group += 1 + draw(1, 300)) {
      const uint32_t byte = draw(0, 3);
      const uint32_t from = group * 31 + (byte == 3 ? 0 : 23 - 8 * byte);
      fill(from, from + (byte == 3 ? 7 : 8), 0.3);
    }
  } else {
    const double densities[] = {0.02, 0.5, 1.0, 0.0};
    for (uint32_t i = 0, run; i < length; i += run) {
      fill(i, i + (run = draw(1, 400)), densities[draw(0, 3)]);
    }
  }
  return bits;
}

inline std::string bytes(std::initializer_list<uint8_t> list) {
  return std::string(list.begin(), list.end());
}

// Bits of `length` with ones at the given positions (counted from 1).
inline Bits bitsWithOnes(uint32_t length, std::initializer_list<uint32_t> ones) {
  Bits bits(length);
  for (uint32_t one : ones) bits[one - 1] = true;
  return bits;
}

}  // namespace quern::test
