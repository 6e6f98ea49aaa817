// E1 indexing and lookup. Adds per second over 10,000,000 records for three
// fields of 8-byte values: 16 values in long runs, a Zipf-distributed field
// over 1,000,000 values, and a value unique to each record. Then, on a file
// of 1,000,000 terms, the time to load the term table and the time of one
// lookup (hits and misses). A smoke run uses 100,000 records and terms.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "benchsize.h"
#include "kinds/e1indexer.h"
#include "kinds/e1indexreader.h"
#include "storage/endian.h"

namespace quern {
namespace {

using Values = std::vector<uint64_t>;

uint32_t recordCount() { return static_cast<uint32_t>(bench::scaled(10000000, 100000)); }
uint32_t termCount() { return static_cast<uint32_t>(bench::scaled(1000000, 100000)); }

// Spreads small ids over the whole 64-bit range, as hashed values are.
uint64_t spread(uint64_t id) { return (id + 1) * 0x9E3779B97F4A7C15ull; }

Values longRuns() {
  std::mt19937_64 random(1);
  Values values;
  values.reserve(recordCount());
  while (values.size() < recordCount()) {
    const uint64_t value = spread(random() % 16);
    values.insert(values.end(), 100 + random() % 9900, value);
  }
  values.resize(recordCount());
  return values;
}

Values zipf() {
  constexpr uint32_t kDistinct = 1000000;
  std::vector<double> cumulative(kDistinct);
  double sum = 0;
  for (uint32_t rank = 0; rank < kDistinct; ++rank) cumulative[rank] = sum += 1.0 / (rank + 1);
  std::mt19937_64 random(2);
  std::uniform_real_distribution<double> draw(0, sum);
  Values values(recordCount());
  for (uint64_t& value : values) {
    const auto rank = std::lower_bound(cumulative.begin(), cumulative.end(), draw(random)) - cumulative.begin();
    value = spread(static_cast<uint64_t>(rank));
  }
  return values;
}

Values unique() {
  Values values(recordCount());
  for (uint32_t i = 0; i < values.size(); ++i) values[i] = spread(i);
  return values;
}

void addAll(benchmark::State& state, const Values& values) {
  for (auto _ : state) {
    auto indexer = std::make_unique<E1Indexer>(nullptr);
    for (uint64_t value : values) indexer->add(&value, sizeof value);
    state.PauseTiming();  // tearing the indexer down is not adding
    state.counters["terms"] = indexer->termCount();
    indexer.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(values.size()));
}

void BM_AddLongRuns(benchmark::State& state) {
  static const Values values = longRuns();
  addAll(state, values);
}
void BM_AddZipf(benchmark::State& state) {
  static const Values values = zipf();
  addAll(state, values);
}
void BM_AddUnique(benchmark::State& state) {
  static const Values values = unique();
  addAll(state, values);
}

// A file of termCount() terms over twice as many records.
const std::string& termFile() {
  static const std::string path = [] {
    const std::string file = (std::filesystem::temp_directory_path() / "quern_e1_bench.e1").string();
    E1Indexer indexer(nullptr);
    for (uint64_t i = 0; i < 2ull * termCount(); ++i) {
      const uint64_t value = spread(i % termCount());
      indexer.add(&value, sizeof value);
    }
    COutputDesc output(std::make_unique<CFileOutput>(file.c_str()));
    indexer.write(&output);
    return file;
  }();
  return path;
}

void BM_LoadTermTable(benchmark::State& state) {
  const std::string& path = termFile();
  for (auto _ : state) {
    E1IndexReader reader(path.c_str());
    benchmark::DoNotOptimize(reader.termCount());
  }
  state.counters["terms"] = termCount();
}

void lookups(benchmark::State& state, uint64_t salt) {
  const std::string& path = termFile();
  E1IndexReader reader(path.c_str());
  std::mt19937_64 random(3);
  for (auto _ : state) {
    const uint64_t value = spread(random() % termCount()) + salt;
    benchmark::DoNotOptimize(reader.search(&value, sizeof value));
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void BM_LookupHit(benchmark::State& state) { lookups(state, 0); }
void BM_LookupMiss(benchmark::State& state) { lookups(state, 1); }

BENCHMARK(BM_AddLongRuns)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AddZipf)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AddUnique)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadTermTable)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LookupHit)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LookupMiss)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace quern

BENCHMARK_MAIN();
