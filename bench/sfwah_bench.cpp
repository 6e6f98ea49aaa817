// SFWAH bitmaps against CRoaring on the same sets of record ids, in the same
// run: AND, OR, XOR, count, the newest 100 with the total, and the stored
// size. Every benchmark reports our time (the benchmark's own time), the
// peer's, and their ratio. The AND benchmarks also report the cost per
// logical word of input beside four floors and a memcpy of the same bytes.
// Sets of 12,000,000 records; a smoke run uses 200,000.
#include <benchmark/benchmark.h>
#include <roaring/roaring.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "benchsize.h"
#include "codec/sfwahcount.h"
#include "codec/sfwahgroups.h"
#include "codec/sfwahintersect.h"
#include "codec/sfwahspan.h"
#include "codec/sfwahtop.h"
#include "codec/sfwahunion.h"
#include "codec/sfwahvector.h"
#include "codec/sfwahxor.h"
#include "storage/inputdesc.h"
#include "storage/outputdesc.h"

namespace quern {
namespace {

using Clock = std::chrono::steady_clock;
using Ids = std::vector<uint32_t>;

uint32_t recordCount() { return static_cast<uint32_t>(bench::scaled(12000000, 200000)); }

// Alternating runs of members and of non-members, lengths drawn uniformly.
Ids runs(std::mt19937& random, uint32_t records, uint32_t onLow, uint32_t onHigh, uint32_t offLow,
         uint32_t offHigh) {
  Ids ids;
  std::uniform_int_distribution<uint32_t> on(onLow, onHigh);
  std::uniform_int_distribution<uint32_t> off(offLow, offHigh);
  for (uint64_t id = 1 + off(random); id <= records; id += off(random)) {
    for (uint64_t end = id + on(random); id < end && id <= records; ++id) ids.push_back(static_cast<uint32_t>(id));
  }
  return ids;
}

// Each record a member with probability p.
Ids uniform(std::mt19937& random, uint32_t records, double p) {
  Ids ids;
  std::geometric_distribution<uint32_t> gap(p);
  for (uint64_t id = 1 + gap(random); id <= records; id += 1 + gap(random)) ids.push_back(static_cast<uint32_t>(id));
  return ids;
}

// A vector grown the way indexers grow one, written and loaded back as a
// query would load it.
std::unique_ptr<SFWAHVector> ourVector(const Ids& ids, uint32_t records) {
  SFWAHVector built(nullptr);
  uint32_t length = 0;
  for (uint32_t id : ids) {
    built.encoder()->appendZeros(id - 1 - length);
    built.encoder()->appendBit(1);
    length = id;
  }
  built.encoder()->appendZeros(records - length);
  built.encoder()->finish();
  built.chunks()->closeSegment();
  const std::string path = (std::filesystem::temp_directory_path() / "sfwah_bench.vec").string();
  {
    COutputDesc out(std::make_unique<CFileOutput>(path.c_str()));
    built.chunks()->writeTo(&out);
  }
  CInputDesc in(std::make_unique<CFileInput>(path.c_str()));
  auto loaded = BitDecoderFactory::instance().create();
  loaded->chunks()->readFrom(&in);
  std::filesystem::remove(path);
  return loaded;
}

// The logical words of a vector, compact words expanded.
std::vector<uint32_t> logicalWords(SFWAHVector& vector) {
  std::vector<uint32_t> words;
  SFWAHWordCache cache;
  vector.chunks()->rewind();
  while (vector.chunks()->nextSegment()) {
    while (vector.chunks()->hasWords()) {
      vector.decodeWord(cache);
      for (uint32_t i = 0; i < cache.size(); ++i) words.push_back(cache.get(i));
      cache.clear();
    }
    vector.chunks()->nextWord();
    vector.chunks()->nextWord();
  }
  vector.chunks()->rewind();
  return words;
}

// Two floors for any walk over two streams of these words. The pairing
// floor: the words already expanded into arrays, each step takes the smaller
// count of the two fronts and combines their bits, with no branch on kinds
// and nothing written. Returns a checksum.
uint64_t pairWords(const std::vector<uint32_t>& first, const std::vector<uint32_t>& second) {
  const auto groups = [](uint32_t word) { return word >> 31 ? 1 : sfwah::fillCount(word); };
  const auto bits = [](uint32_t word) {
    return word >> 31 ? word & sfwah::kGroupBits : (0u - (word >> 30 & 1)) & sfwah::kGroupBits;
  };
  uint64_t sum = 0;
  size_t i = 0;
  size_t j = 0;
  uint32_t a = groups(first[0]);
  uint32_t b = groups(second[0]);
  // The last word of each array is the padding the caller appends.
  while (i + 1 < first.size() && j + 1 < second.size()) {
    const uint32_t n = a < b ? a : b;
    sum += (bits(first[i]) & bits(second[j])) ^ n;
    a -= n;
    b -= n;
    i += a == 0;
    j += b == 0;
    a = a != 0 ? a : groups(first[i]);
    b = b != 0 ? b : groups(second[j]);
  }
  return sum;
}

// Calls `visit` with every coded word of the vector's segments, from the
// start; the read position is left at the start.
template <typename Visit>
void forEachStoredWord(SFWAHVector& vector, Visit visit) {
  SFWAHChunks& chunks = *vector.chunks();
  chunks.rewind();
  while (chunks.nextSegment()) {
    chunks.forEachCodedSpan([&visit](const uint8_t* data, uint32_t n) {
      for (uint32_t i = 0; i < n; ++i) visit(loadLE32(data + 4 * i));
    });
    uint32_t tail = 0;
    chunks.readTail(tail);
  }
  chunks.rewind();
}

// Calls `visit` with every logical word of the vector, compact words
// expanded.
template <typename Visit>
void forEachLogicalWord(SFWAHVector& vector, Visit visit) {
  forEachStoredWord(vector, [&visit](uint32_t stored) {
    uint32_t words[3] = {0, 0, 0};
    const uint32_t count = sfwah::expandWord(stored, words);
    for (uint32_t i = 0; i < count; ++i) visit(words[i]);
  });
}

// The reading floor: every stored word read once, its groups summed, as a
// walk that passes over words must at least do.
uint64_t scanGroups(SFWAHVector& vector) {
  uint64_t groups = 0;
  forEachStoredWord(vector, [&groups](uint32_t word) { groups += sfwah::groupsOf(word); });
  return groups;
}

// The dense floor: both operands written out window by window by the group
// way's reader (a fill as that many copies) and ANDed, nothing encoded: what
// the group way costs before its encoder, and where any approach that
// materialises groups instead of pairing words starts. Returns a digest of
// the groups, so that none of the work can be left out.
uint32_t andGroups(SFWAHVector& first, SFWAHVector& second) {
  SFWAHChunks& a = *first.chunks();
  SFWAHChunks& b = *second.chunks();
  a.rewind();
  b.rewind();
  uint32_t digest = 0;
  while (a.nextSegment() && b.nextSegment()) {
    SFWAHGroupReader x(a);
    SFWAHGroupReader y(b);
    for (;;) {
      const uint32_t heldX = x.fill();
      const uint32_t heldY = y.fill();
      const uint32_t n = std::min(heldX, heldY);
      if (n == 0) break;
      for (uint32_t i = 0; i < n; ++i) digest ^= x.groups()[i] & y.groups()[i];
      x.consume(n, heldX);
      y.consume(n, heldY);
    }
    uint32_t tail = 0;
    a.readTail(tail);
    b.readTail(tail);
  }
  a.rewind();
  b.rewind();
  return digest;
}

// The run-list floor: a vector decoded into its runs of ones, each as the
// position of its first bit and of the bit after its last, the way an
// approach that works on run lists (as CRoaring's run containers do) must
// start. Literals are read by their transitions, not bit by bit.
using Runs = std::vector<std::pair<uint64_t, uint64_t>>;

void decodeRuns(SFWAHVector& vector, Runs& runs) {
  runs.clear();
  uint64_t position = 0;
  uint64_t start = 0;
  bool open = false;
  forEachLogicalWord(vector, [&](uint32_t word) {
    if (!sfwah::isLiteral(word)) {
      if (open != sfwah::isOneFill(word)) {
        if (open) runs.emplace_back(start, position);
        start = position;
        open = !open;
      }
      position += uint64_t{sfwah::fillCount(word)} * sfwah::kGroupSize;
      return;
    }
    // Bit i of `changes` is set where bit i differs from the bit before it
    // (bit 31 stands for the last bit of the previous group).
    const uint32_t bits = word & sfwah::kGroupBits;
    for (uint32_t changes = (bits ^ (bits >> 1 | (open ? 1u << 30 : 0))) & sfwah::kGroupBits; changes != 0;) {
      const uint32_t bit = 31 - static_cast<uint32_t>(std::countl_zero(changes));
      const uint64_t at = position + 30 - bit;
      if (open) runs.emplace_back(start, at);
      start = at;
      open = !open;
      changes &= ~(1u << bit);
    }
    position += sfwah::kGroupSize;
  });
  if (open) runs.emplace_back(start, position);
}

// The runs both lists share; returns how many.
size_t intersectRuns(const Runs& first, const Runs& second, Runs& out) {
  out.clear();
  size_t i = 0;
  size_t j = 0;
  while (i < first.size() && j < second.size()) {
    const uint64_t from = std::max(first[i].first, second[j].first);
    const uint64_t to = std::min(first[i].second, second[j].second);
    if (from < to) out.emplace_back(from, to);
    if (first[i].second < second[j].second) {
      ++i;
    } else {
      ++j;
    }
  }
  return out.size();
}

struct Operand {
  std::unique_ptr<SFWAHVector> ours;
  roaring_bitmap_t* theirs = nullptr;
  ~Operand() { roaring_bitmap_free(theirs); }
};

struct DataSet {
  std::string name;
  Operand operands[2];
};

std::vector<std::unique_ptr<DataSet>> makeDataSets() {
  const uint32_t records = recordCount();
  std::mt19937 random(20261122);
  struct Recipe {
    const char* name;
    std::function<Ids()> make;
  };
  const Recipe recipes[] = {
      {"LongRuns", [&] { return runs(random, records, 200, 3000, 500, 20000); }},
      {"ShortRuns", [&] { return runs(random, records, 1, 127, 1, 383); }},
      {"Uniform10", [&] { return uniform(random, records, 0.1); }},
      {"Uniform1000", [&] { return uniform(random, records, 0.001); }},
      {"Uniform100000", [&] { return uniform(random, records, 0.00001); }},
      {"Dense", [&] { return uniform(random, records, 0.999); }},
  };
  std::vector<std::unique_ptr<DataSet>> sets;
  for (const Recipe& recipe : recipes) {
    auto set = std::make_unique<DataSet>();
    set->name = recipe.name;
    for (Operand& operand : set->operands) {
      const Ids ids = recipe.make();
      operand.ours = ourVector(ids, records);
      operand.theirs = roaring_bitmap_of_ptr(ids.size(), ids.data());
      roaring_bitmap_run_optimize(operand.theirs);
    }
    sets.push_back(std::move(set));
  }
  return sets;
}

double seconds(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

// Times ours (the benchmark's time) and the peer's per iteration.
template <typename Ours, typename Theirs>
void compare(benchmark::State& state, Ours ours, Theirs theirs) {
  double ourTotal = 0;
  double theirTotal = 0;
  for (auto _ : state) {
    const double time = ours();
    state.SetIterationTime(time);
    ourTotal += time;
    theirTotal += theirs();
  }
  state.counters["roaring_us"] = theirTotal * 1e6 / static_cast<double>(state.iterations());
  state.counters["ratio"] = ourTotal / theirTotal;
}

template <typename Operator>
double runOurs(DataSet& set) {
  auto first = set.operands[0].ours->clone();
  auto second = set.operands[1].ours->clone();
  Operator op(std::move(first), std::move(second));
  const auto start = Clock::now();
  std::unique_ptr<SFWAHVector> result = op.run();
  const auto end = Clock::now();
  benchmark::DoNotOptimize(result.get());
  return seconds(start, end);
}

template <typename Operator>
void registerOperator(DataSet& set, const char* name,
                      roaring_bitmap_t* (*theirs)(const roaring_bitmap_t*, const roaring_bitmap_t*)) {
  benchmark::RegisterBenchmark((set.name + "/" + name).c_str(), [&set, theirs](benchmark::State& state) {
    compare(state, [&] { return runOurs<Operator>(set); },
            [&] {
              const auto start = Clock::now();
              roaring_bitmap_t* result = theirs(set.operands[0].theirs, set.operands[1].theirs);
              const auto end = Clock::now();
              roaring_bitmap_free(result);
              return seconds(start, end);
            });
  })->UseManualTime()->Unit(benchmark::kMicrosecond);
}

// The AND walk per logical word of input, beside the four floors above and a
// memcpy of the same stored bytes.
void registerWalkCost(DataSet& set) {
  benchmark::RegisterBenchmark((set.name + "/AndPerWord").c_str(), [&set](benchmark::State& state) {
    std::vector<uint32_t> first = logicalWords(*set.operands[0].ours);
    std::vector<uint32_t> second = logicalWords(*set.operands[1].ours);
    const double words = static_cast<double>(first.size() + second.size());
    first.push_back(sfwah::kMaxCount);
    second.push_back(sfwah::kMaxCount);
    const uint64_t bytes = set.operands[0].ours->chunks()->imageBytes() + set.operands[1].ours->chunks()->imageBytes();
    std::vector<char> from(bytes, 1);
    std::vector<char> to(bytes);
    double ourTotal = 0;
    double pairTotal = 0;
    double scanTotal = 0;
    double denseTotal = 0;
    double runsTotal = 0;
    Runs firstRuns;
    Runs secondRuns;
    Runs sharedRuns;
    double copyTotal = 0;
    for (auto _ : state) {
      const double time = runOurs<SFWAHIntersect>(set);
      state.SetIterationTime(time);
      ourTotal += time;
      auto start = Clock::now();
      benchmark::DoNotOptimize(pairWords(first, second));
      pairTotal += seconds(start, Clock::now());
      start = Clock::now();
      benchmark::DoNotOptimize(scanGroups(*set.operands[0].ours) + scanGroups(*set.operands[1].ours));
      scanTotal += seconds(start, Clock::now());
      start = Clock::now();
      decodeRuns(*set.operands[0].ours, firstRuns);
      decodeRuns(*set.operands[1].ours, secondRuns);
      benchmark::DoNotOptimize(intersectRuns(firstRuns, secondRuns, sharedRuns));
      runsTotal += seconds(start, Clock::now());
      start = Clock::now();
      std::memcpy(to.data(), from.data(), bytes);
      benchmark::ClobberMemory();
      copyTotal += seconds(start, Clock::now());
    }
    // The dense floor follows the groups, which on sparse sets cost hundreds
    // of times our walk: a fixed number of runs keeps the benchmark short.
    constexpr int kDenseRuns = 20;
    for (int run = 0; run < kDenseRuns; ++run) {
      const auto start = Clock::now();
      benchmark::DoNotOptimize(andGroups(*set.operands[0].ours, *set.operands[1].ours));
      denseTotal += seconds(start, Clock::now());
    }
    const double n = static_cast<double>(state.iterations()) * words;
    state.counters["logical_words"] = words;
    state.counters["ns_per_word"] = ourTotal * 1e9 / n;
    state.counters["pair_floor_ns_per_word"] = pairTotal * 1e9 / n;
    state.counters["scan_floor_ns_per_word"] = scanTotal * 1e9 / n;
    state.counters["runs_floor_ns_per_word"] = runsTotal * 1e9 / n;
    state.counters["dense_floor_ns_per_word"] = denseTotal * 1e9 / (kDenseRuns * words);
    state.counters["memcpy_ns_per_word"] = copyTotal * 1e9 / n;
  })->UseManualTime()->Unit(benchmark::kMicrosecond);
}

// Seconds CRoaring takes to count the first operand.
double roaringCount(const DataSet& set) {
  const auto start = Clock::now();
  benchmark::DoNotOptimize(roaring_bitmap_get_cardinality(set.operands[0].theirs));
  return seconds(start, Clock::now());
}

void registerDataSet(DataSet& set) {
  registerOperator<SFWAHIntersect>(set, "And", roaring_bitmap_and);
  registerOperator<SFWAHUnion>(set, "Or", roaring_bitmap_or);
  registerOperator<SFWAHXor>(set, "Xor", roaring_bitmap_xor);
  registerWalkCost(set);
  benchmark::RegisterBenchmark((set.name + "/Count").c_str(), [&set](benchmark::State& state) {
    SFWAHVector& ours = *set.operands[0].ours;
    ours.chunks()->rewind();
    if (ours.count() != roaring_bitmap_get_cardinality(set.operands[0].theirs)) state.SkipWithError("counts differ");
    compare(state,
            [&] {
              ours.chunks()->rewind();
              const auto start = Clock::now();
              benchmark::DoNotOptimize(ours.count());
              return seconds(start, Clock::now());
            },
            [&] { return roaringCount(set); });
  })->UseManualTime()->Unit(benchmark::kMicrosecond);
  // The count by each way of reading spans that this processor has; `Count`
  // above takes the fastest.
  for (const sfwah::SpanWay& way : sfwah::spanWays()) {
    benchmark::RegisterBenchmark((set.name + "/CountBy/" + way.name).c_str(), [&set, way](benchmark::State& state) {
      SFWAHChunks& chunks = *set.operands[0].ours->chunks();
      compare(state,
              [&] {
                chunks.rewind();
                const auto start = Clock::now();
                uint32_t count = 0;
                while (chunks.nextSegment()) {
                  chunks.forEachCodedSpan([&](const uint8_t* data, uint32_t n) { count += way.ones(data, n); });
                  uint32_t tail = 0;
                  chunks.readTail(tail);
                  count += std::popcount(tail);
                }
                benchmark::DoNotOptimize(count);
                return seconds(start, Clock::now());
              },
              [&] { return roaringCount(set); });
    })->UseManualTime()->Unit(benchmark::kMicrosecond);
  }
  benchmark::RegisterBenchmark((set.name + "/Top100").c_str(), [&set](benchmark::State& state) {
    SFWAHVector& ours = *set.operands[0].ours;
    compare(state,
            [&] {
              ours.chunks()->rewind();
              uint32_t total = 0;
              const auto start = Clock::now();
              std::unique_ptr<CRingQueue> queue = SFWAHTop(&ours, 100).run(&total);
              uint32_t newest = 0;
              while (queue->size() != 0) newest += queue->pop();
              const auto end = Clock::now();
              benchmark::DoNotOptimize(newest + total);
              return seconds(start, end);
            },
            [&] {
              const auto start = Clock::now();
              // The total as well, since ours gives it with the positions.
              uint64_t total = roaring_bitmap_get_cardinality(set.operands[0].theirs);
              roaring_uint32_iterator_t it;
              roaring_init_iterator_last(set.operands[0].theirs, &it);
              for (int i = 0; i < 100 && it.has_value; ++i) {
                total += it.current_value;
                roaring_previous_uint32_iterator(&it);
              }
              const auto end = Clock::now();
              benchmark::DoNotOptimize(total);
              return seconds(start, end);
            });
  })->UseManualTime()->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark((set.name + "/Size").c_str(), [&set](benchmark::State& state) {
    for (auto _ : state) state.SetIterationTime(1e-6);
    double ours = 0;
    double theirs = 0;
    for (Operand& operand : set.operands) {
      ours += static_cast<double>(operand.ours->chunks()->imageBytes());
      theirs += static_cast<double>(roaring_bitmap_portable_size_in_bytes(operand.theirs));
    }
    state.counters["our_bytes"] = ours / 2;
    state.counters["roaring_bytes"] = theirs / 2;
    state.counters["ratio"] = ours / theirs;
  })->UseManualTime()->Iterations(1);
}

}  // namespace
}  // namespace quern

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const auto sets = quern::makeDataSets();
  for (const auto& set : sets) quern::registerDataSet(*set);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
