#include "codec/sfwahspan.h"

#include "codec/sfwahbytes.h"
#include "storage/endian.h"

// Not on Windows: GCC there may spill vectors with aligned moves to a stack
// it has not aligned to 32 bytes.
#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__)) && !defined(_WIN32)
#define QUERN_SPAN_X86 1
#include <immintrin.h>
#endif

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

#if defined(QUERN_SPAN_X86)

// By the top three bits, the groups a word stands for besides its count or
// bytes.
constexpr uint32_t kBaseGroups[8] = {0, 2, 1, 0, 1, 1, 1, 1};

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
  const uint32_t groups = static_cast<uint32_t>(_mm512_reduce_add_epi32(fillGroups));
  return static_cast<uint32_t>(_mm512_reduce_add_epi32(literalOnes)) + groups * kGroupSize +
         onesByWord(data + 4 * i, count - i);
}

QUERN_AVX512 SpanSums sumsAvx512(const uint8_t* data, uint32_t count) {
  const __m512i onesMask = byTop512(kOnesMaskByTop);
  const __m512i baseGroups = byTop512(kBaseGroups);
  const __m512i countBits = _mm512_set1_epi32(kMaxCount);
  const __m512i byte = _mm512_set1_epi32(0xFF);
  __m512i ones = _mm512_setzero_si512();
  __m512i oneGroups = _mm512_setzero_si512();
  __m512i groups = _mm512_setzero_si512();
  uint32_t i = 0;
  for (; i + 16 <= count; i += 16) {
    const __m512i x = _mm512_loadu_si512(data + 4 * i);
    const __m512i top = _mm512_srli_epi32(x, 29);
    ones = _mm512_add_epi32(ones, _mm512_popcnt_epi32(_mm512_and_si512(x, _mm512_permutexvar_epi32(top, onesMask))));
    const __mmask16 zero = _mm512_cmpeq_epi32_mask(top, _mm512_setzero_si512());
    const __mmask16 one = _mm512_cmpeq_epi32_mask(top, _mm512_set1_epi32(3));
    const __mmask16 lfl = _mm512_cmpeq_epi32_mask(top, _mm512_set1_epi32(1));
    const __mmask16 flf = _mm512_cmpeq_epi32_mask(top, _mm512_set1_epi32(2));
    const __m512i fill = _mm512_and_si512(x, countBits);
    oneGroups = _mm512_mask_add_epi32(oneGroups, one, oneGroups, fill);
    __m512i g = _mm512_permutexvar_epi32(top, baseGroups);
    g = _mm512_mask_add_epi32(g, zero | one, g, fill);
    g = _mm512_mask_add_epi32(g, lfl, g, _mm512_and_si512(_mm512_srli_epi32(x, 8), byte));
    g = _mm512_mask_add_epi32(g, flf, g, _mm512_add_epi32(_mm512_and_si512(_mm512_srli_epi32(x, 16), byte), _mm512_and_si512(x, byte)));
    groups = _mm512_add_epi32(groups, g);
  }
  SpanSums sums = sumsByWord(data + 4 * i, count - i);
  sums.ones += static_cast<uint32_t>(_mm512_reduce_add_epi32(ones)) +
               static_cast<uint32_t>(_mm512_reduce_add_epi32(oneGroups)) * kGroupSize;
  sums.bits += static_cast<uint32_t>(_mm512_reduce_add_epi32(groups)) * kGroupSize;
  return sums;
}

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

#define QUERN_AVX2 __attribute__((target("avx2")))

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
  const __m256i onesMask = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kOnesMaskByTop));
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
  const __m256i onesMask = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kOnesMaskByTop));
  const __m256i baseGroups = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kBaseGroups));
  const __m256i countBits = _mm256_set1_epi32(kMaxCount);
  const __m256i byte = _mm256_set1_epi32(0xFF);
  __m256i ones = _mm256_setzero_si256();
  __m256i oneGroups = _mm256_setzero_si256();
  __m256i groups = _mm256_setzero_si256();
  uint32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(data + 4 * i));
    const __m256i top = _mm256_srli_epi32(x, 29);
    ones = _mm256_add_epi32(ones, onesPerLane(_mm256_and_si256(x, _mm256_permutevar8x32_epi32(onesMask, top))));
    const __m256i one = _mm256_cmpeq_epi32(top, _mm256_set1_epi32(3));
    const __m256i fills = _mm256_or_si256(one, _mm256_cmpeq_epi32(top, _mm256_setzero_si256()));
    const __m256i lfl = _mm256_cmpeq_epi32(top, _mm256_set1_epi32(1));
    const __m256i flf = _mm256_cmpeq_epi32(top, _mm256_set1_epi32(2));
    const __m256i fill = _mm256_and_si256(x, countBits);
    oneGroups = _mm256_add_epi32(oneGroups, _mm256_and_si256(one, fill));
    const __m256i lflGroups = _mm256_and_si256(_mm256_srli_epi32(x, 8), byte);
    const __m256i flfGroups = _mm256_add_epi32(_mm256_and_si256(_mm256_srli_epi32(x, 16), byte), _mm256_and_si256(x, byte));
    groups = _mm256_add_epi32(groups, _mm256_permutevar8x32_epi32(baseGroups, top));
    groups = _mm256_add_epi32(groups, _mm256_and_si256(fills, fill));
    groups = _mm256_add_epi32(groups, _mm256_and_si256(lfl, lflGroups));
    groups = _mm256_add_epi32(groups, _mm256_and_si256(flf, flfGroups));
  }
  SpanSums sums = sumsByWord(data + 4 * i, count - i);
  sums.ones += laneSum(ones) + laneSum(oneGroups) * kGroupSize;
  sums.bits += laneSum(groups) * kGroupSize;
  return sums;
}

#endif

const SpanWay& chosenWay() {
  static const SpanWay way = spanWays().front();
  return way;
}

}  // namespace

uint32_t onesInSpan(const uint8_t* data, uint32_t count) { return chosenWay().ones(data, count); }

SpanSums sumSpan(const uint8_t* data, uint32_t count) { return chosenWay().sums(data, count); }

std::vector<SpanWay> spanWays() {
  std::vector<SpanWay> ways;
#if defined(QUERN_SPAN_X86)
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vpopcntdq")) {
    ways.push_back({"avx512", onesAvx512, sumsAvx512});
  }
  if (__builtin_cpu_supports("avx2")) ways.push_back({"avx2", onesAvx2, sumsAvx2});
#endif
  ways.push_back({"word", onesByWord, sumsByWord});
  return ways;
}

}  // namespace quern::sfwah
