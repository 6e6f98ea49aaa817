#include "codec/sfwahspan.h"

#include <immintrin.h>

#include <cstring>

#include "codec/sfwahbytes.h"
#include "platform/platform.h"
#include "storage/endian.h"

namespace quern::sfwah {

namespace {

uint32_t onesByWord(const uint8_t* data, uint32_t count) {
  uint32_t ones = 0;
  for (uint32_t i = 0; i < count; ++i) ones += onesInStored(loadLE32(data + 4 * i));
  return ones;
}

SpanSums sumsByWord(const uint8_t* data, uint32_t count) {
  SpanSums sums;
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t word = loadLE32(data + 4 * i);
    sums.ones += onesInStored(word);
    sums.bits += groupsOf(word) * kGroupSize;
  }
  return sums;
}

// By the top three bits, the groups a word stands for: a fixed part, a field
// at a shift (a fill's count, a compact word's fill bytes) and, for FLF, its
// low byte as well.
constexpr uint32_t kBaseGroups[8] = {0, 2, 1, 0, 1, 1, 1, 1};
constexpr uint32_t kFieldShift[8] = {0, 8, 16, 0, 0, 0, 0, 0};
constexpr uint32_t kFieldBits[8] = {kMaxCount, 0xFF, 0xFF, kMaxCount, 0, 0, 0, 0};
constexpr uint32_t kLowBits[8] = {0, 0, 0xFF, 0, 0, 0, 0, 0};

#define QUERN_AVX512 __attribute__((target("avx512f,avx512vpopcntdq")))

// GCC 12's own AVX-512 header starts intrinsics from a self-initialised
// "undefined" vector, which its uninitialised-use warnings then flag.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

// A table by top bits in the low eight lanes, for `permutexvar`.
QUERN_AVX512 __m512i byTop512(const uint32_t (&table)[8]) {
  return _mm512_maskz_loadu_epi32(0x00FF, table);
}

// The lanes' sum, wrapping: the header's own reduction adds them as signed
// ints, which may overflow.
QUERN_AVX512 uint32_t laneSum512(__m512i v) {
  alignas(64) uint32_t lanes[16];
  _mm512_store_si512(lanes, v);
  uint32_t sum = 0;
  for (const uint32_t lane : lanes) sum += lane;
  return sum;
}

QUERN_AVX512 uint32_t onesAvx512(const uint8_t* data, uint32_t count) {
  const __m512i onesMask = byTop512(kOnesMaskByTop);
  const __m512i countBits = _mm512_set1_epi32(kMaxCount);
  const __m512i three = _mm512_set1_epi32(3);
  __m512i literalOnes = _mm512_setzero_si512();
  __m512i fillGroups = _mm512_setzero_si512();
  uint32_t i = 0;
  for (; i + 16 <= count; i += 16) {
    const __m512i x = _mm512_loadu_si512(data + 4 * i);
    const __m512i top = _mm512_srli_epi32(x, 29);
    literalOnes = _mm512_add_epi32(literalOnes, _mm512_popcnt_epi32(_mm512_and_si512(x, _mm512_permutexvar_epi32(top, onesMask))));
    fillGroups = _mm512_add_epi32(fillGroups, _mm512_maskz_and_epi32(_mm512_cmpeq_epi32_mask(top, three), x, countBits));
  }
  return laneSum512(literalOnes) + laneSum512(fillGroups) * kGroupSize + onesByWord(data + 4 * i, count - i);
}

QUERN_AVX512 SpanSums sumsAvx512(const uint8_t* data, uint32_t count) {
  const __m512i onesMask = byTop512(kOnesMaskByTop);
  const __m512i baseGroups = byTop512(kBaseGroups);
  const __m512i fieldShift = byTop512(kFieldShift);
  const __m512i fieldBits = byTop512(kFieldBits);
  const __m512i lowBits = byTop512(kLowBits);
  const __m512i countBits = _mm512_set1_epi32(kMaxCount);
  const __m512i three = _mm512_set1_epi32(3);
  __m512i ones = _mm512_setzero_si512();
  __m512i oneGroups = _mm512_setzero_si512();
  __m512i groups = _mm512_setzero_si512();
  uint32_t i = 0;
  for (; i + 16 <= count; i += 16) {
    const __m512i x = _mm512_loadu_si512(data + 4 * i);
    const __m512i top = _mm512_srli_epi32(x, 29);
    ones = _mm512_add_epi32(ones, _mm512_popcnt_epi32(_mm512_and_si512(x, _mm512_permutexvar_epi32(top, onesMask))));
    oneGroups = _mm512_add_epi32(oneGroups, _mm512_maskz_and_epi32(_mm512_cmpeq_epi32_mask(top, three), x, countBits));
    const __m512i field = _mm512_and_si512(_mm512_srlv_epi32(x, _mm512_permutexvar_epi32(top, fieldShift)),
                                           _mm512_permutexvar_epi32(top, fieldBits));
    const __m512i low = _mm512_and_si512(x, _mm512_permutexvar_epi32(top, lowBits));
    groups = _mm512_add_epi32(groups, _mm512_add_epi32(_mm512_permutexvar_epi32(top, baseGroups), _mm512_add_epi32(field, low)));
  }
  SpanSums sums = sumsByWord(data + 4 * i, count - i);
  sums.ones += laneSum512(ones) + laneSum512(oneGroups) * kGroupSize;
  sums.bits += laneSum512(groups) * kGroupSize;
  return sums;
}

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

#define QUERN_AVX2 __attribute__((target("avx2")))

// A table by top bits, for `permutevar8x32`.
QUERN_AVX2 __m256i byTop256(const uint32_t (&table)[8]) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(table));
}

// Ones of each 32-bit lane, by a nibble table.
QUERN_AVX2 __m256i onesPerLane(__m256i v) {
  const __m256i table = _mm256_setr_epi8(0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4, 0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2,
                                         3, 2, 3, 3, 4);
  const __m256i nibble = _mm256_set1_epi8(0x0F);
  const __m256i perByte = _mm256_add_epi8(_mm256_shuffle_epi8(table, _mm256_and_si256(v, nibble)),
                                          _mm256_shuffle_epi8(table, _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble)));
  return _mm256_madd_epi16(_mm256_maddubs_epi16(perByte, _mm256_set1_epi8(1)), _mm256_set1_epi16(1));
}

QUERN_AVX2 uint32_t laneSum(__m256i v) {
  const __m128i half = _mm_add_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
  const __m128i quarter = _mm_add_epi32(half, _mm_shuffle_epi32(half, 0x4E));
  return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_add_epi32(quarter, _mm_shuffle_epi32(quarter, 0xB1))));
}

QUERN_AVX2 uint32_t onesAvx2(const uint8_t* data, uint32_t count) {
  const __m256i onesMask = byTop256(kOnesMaskByTop);
  const __m256i countBits = _mm256_set1_epi32(kMaxCount);
  const __m256i three = _mm256_set1_epi32(3);
  __m256i literalOnes = _mm256_setzero_si256();
  __m256i fillGroups = _mm256_setzero_si256();
  uint32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(data + 4 * i));
    const __m256i top = _mm256_srli_epi32(x, 29);
    literalOnes = _mm256_add_epi32(literalOnes, onesPerLane(_mm256_and_si256(x, _mm256_permutevar8x32_epi32(onesMask, top))));
    fillGroups = _mm256_add_epi32(fillGroups, _mm256_and_si256(_mm256_cmpeq_epi32(top, three), _mm256_and_si256(x, countBits)));
  }
  return laneSum(literalOnes) + laneSum(fillGroups) * kGroupSize + onesByWord(data + 4 * i, count - i);
}

QUERN_AVX2 SpanSums sumsAvx2(const uint8_t* data, uint32_t count) {
  const __m256i onesMask = byTop256(kOnesMaskByTop);
  const __m256i baseGroups = byTop256(kBaseGroups);
  const __m256i fieldShift = byTop256(kFieldShift);
  const __m256i fieldBits = byTop256(kFieldBits);
  const __m256i lowBits = byTop256(kLowBits);
  const __m256i countBits = _mm256_set1_epi32(kMaxCount);
  const __m256i three = _mm256_set1_epi32(3);
  __m256i ones = _mm256_setzero_si256();
  __m256i oneGroups = _mm256_setzero_si256();
  __m256i groups = _mm256_setzero_si256();
  uint32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(data + 4 * i));
    const __m256i top = _mm256_srli_epi32(x, 29);
    ones = _mm256_add_epi32(ones, onesPerLane(_mm256_and_si256(x, _mm256_permutevar8x32_epi32(onesMask, top))));
    oneGroups = _mm256_add_epi32(oneGroups, _mm256_and_si256(_mm256_cmpeq_epi32(top, three), _mm256_and_si256(x, countBits)));
    const __m256i field = _mm256_and_si256(_mm256_srlv_epi32(x, _mm256_permutevar8x32_epi32(fieldShift, top)),
                                           _mm256_permutevar8x32_epi32(fieldBits, top));
    const __m256i low = _mm256_and_si256(x, _mm256_permutevar8x32_epi32(lowBits, top));
    groups = _mm256_add_epi32(groups, _mm256_add_epi32(_mm256_permutevar8x32_epi32(baseGroups, top), _mm256_add_epi32(field, low)));
  }
  SpanSums sums = sumsByWord(data + 4 * i, count - i);
  sums.ones += laneSum(ones) + laneSum(oneGroups) * kGroupSize;
  sums.bits += laneSum(groups) * kGroupSize;
  return sums;
}

// The fastest way, or the one QUERN_SPAN_WAY names if this processor has
// it: to measure or test a slower way on a machine that has a faster one.
const SpanWay& chosenWay() {
  static const SpanWay way = [] {
    const std::vector<SpanWay> ways = spanWays();
    const char* named = platform::vectorWayOverride();
    for (const SpanWay& candidate : ways) {
      if (named != nullptr && std::strcmp(candidate.name, named) == 0) return candidate;
    }
    return ways.front();
  }();
  return way;
}

}  // namespace

uint32_t onesInSpan(const uint8_t* data, uint32_t count) { return chosenWay().ones(data, count); }

SpanSums sumSpan(const uint8_t* data, uint32_t count) { return chosenWay().sums(data, count); }

std::vector<SpanWay> spanWays() {
  std::vector<SpanWay> ways;
  const platform::VectorUnits units = platform::vectorUnits();
  if (units.avx512) ways.push_back({"avx512", onesAvx512, sumsAvx512});
  if (units.avx2) ways.push_back({"avx2", onesAvx2, sumsAvx2});
  ways.push_back({"word", onesByWord, sumsByWord});
  return ways;
}

}  // namespace quern::sfwah
