// Range indexing and range queries. Adds per second for 10,000,000 records of
// time texts in time order (a new second about every 5 records, as a busy
// appliance logs) and for 1,000,000 records over 1,000 time texts in random
// order (a change of value walks the sets between the two values: the
// kind's worst case); each reports the file's bytes per record. Then, on a
// field of 1,000,000 time-ordered records, a random range of a given number
// of stored values: RangeQuery times the Range kind alone, RangeVsE1 times
// it against the same field indexed as E1, where a range walks every stored
// term and unites the lists of those inside it (e1_us, ratio = E1 / Range).
// A smoke run uses 20,000 records.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "benchsize.h"
#include "codec/sfwahunion.h"
#include "kinds/e1indexer.h"
#include "kinds/e1indexreader.h"
#include "kinds/rangeindexer.h"
#include "kinds/rangeindexreader.h"

namespace quern {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr size_t kTextBytes = 19;  // "2026/10/01 00:00:00"

// Records as places in a table of distinct texts of one width.
struct Field {
  std::vector<char> texts;
  std::vector<uint32_t> records;
  const char* text(uint32_t record) const { return texts.data() + size_t{records[record]} * kTextBytes; }
  uint32_t distinct() const { return static_cast<uint32_t>(texts.size() / kTextBytes); }
};

// The time text of `second` seconds after 2026/10/01 00:00:00 (up to 30 days).
void putTime(char* out, uint32_t second) {
  char text[kTextBytes + 1];
  std::snprintf(text, sizeof text, "2026/10/%02u %02u:%02u:%02u", 1 + second / 86400 % 30, second / 3600 % 24,
                second / 60 % 60, second % 60);
  std::copy(text, text + kTextBytes, out);
}

Field timeOrdered(uint32_t records) {
  std::mt19937 random(5);
  Field field;
  field.records.resize(records);
  uint32_t second = 0;
  for (uint32_t& record : field.records) {
    if (field.texts.empty() || random() % 5 == 0) {
      field.texts.resize(field.texts.size() + kTextBytes);
      putTime(field.texts.data() + field.texts.size() - kTextBytes, second++);
    }
    record = field.distinct() - 1;
  }
  return field;
}

Field randomOrder(uint32_t records, uint32_t values) {
  std::mt19937 random(6);
  Field field;
  field.texts.resize(size_t{values} * kTextBytes);
  for (uint32_t v = 0; v < values; ++v) putTime(field.texts.data() + size_t{v} * kTextBytes, v * 7);
  field.records.resize(records);
  for (uint32_t& record : field.records) record = random() % values;
  return field;
}

template <typename Indexer>
std::string writeField(Indexer& indexer, const std::string& name) {
  const std::string path = (fs::temp_directory_path() / name).string();
  COutputDesc output(std::make_unique<CFileOutput>(path.c_str()));
  indexer.write(&output);
  return path;
}

template <typename Indexer>
void addAll(Indexer& indexer, const Field& field) {
  for (uint32_t r = 0; r < field.records.size(); ++r) indexer.add(field.text(r), kTextBytes);
}

void adds(benchmark::State& state, const Field& field) {
  for (auto _ : state) {
    auto indexer = std::make_unique<RangeIndexer>(nullptr);
    addAll(*indexer, field);
    state.PauseTiming();  // writing and tearing down are not adding
    const std::string path = writeField(*indexer, "quern_range_bench_adds.range");
    state.counters["values"] = indexer->valueCount();
    state.counters["file_bytes_per_record"] =
        static_cast<double>(fs::file_size(path)) / static_cast<double>(field.records.size());
    indexer.reset();
    fs::remove(path);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(field.records.size()));
}

void BM_AddTimeOrdered(benchmark::State& state) {
  static const Field field = timeOrdered(static_cast<uint32_t>(bench::scaled(10000000, 20000)));
  adds(state, field);
}

void BM_AddRandomOrder(benchmark::State& state) {
  static const Field field = randomOrder(static_cast<uint32_t>(bench::scaled(1000000, 20000)), 1000);
  adds(state, field);
}

// The query field, indexed both ways.
struct QueryFiles {
  QueryFiles() : field(timeOrdered(static_cast<uint32_t>(bench::scaled(1000000, 20000)))) {
    RangeIndexer range(nullptr);
    addAll(range, field);
    rangePath = writeField(range, "quern_range_bench_query.range");
    E1Indexer e1(nullptr);
    addAll(e1, field);
    e1Path = writeField(e1, "quern_range_bench_query.e1");
  }
  ~QueryFiles() {
    fs::remove(rangePath);
    fs::remove(e1Path);
  }
  Field field;
  std::string rangePath;
  std::string e1Path;
};

const QueryFiles& queryFiles() {
  static const QueryFiles files;
  return files;
}

// Ends of a random range of `width` stored values (all of them when there
// are fewer).
std::pair<std::string, std::string> drawRange(std::mt19937& random, const Field& field, uint32_t width) {
  width = std::min(width, field.distinct());
  const uint32_t first = random() % (field.distinct() - width + 1);
  const auto text = [&](uint32_t value) { return std::string(field.texts.data() + size_t{value} * kTextBytes, kTextBytes); };
  return {text(first), text(first + width - 1)};
}

// What a range costs over an E1 field: every stored term is compared with
// the ends, and the lists of those inside are united one by one.
std::unique_ptr<SFWAHVector> e1Range(E1IndexReader& reader, const std::string& from, const std::string& to) {
  std::unique_ptr<SFWAHVector> result;
  for (uint32_t i = 0; i < reader.termCount(); ++i) {
    const std::string term = reader.term(i);
    if (term < from || term > to) continue;
    std::unique_ptr<SFWAHVector> list = reader.search(term.data(), static_cast<uint32_t>(term.size()));
    result = result ? SFWAHUnion::of(std::move(result), std::move(list)) : std::move(list);
  }
  return result;
}

void BM_RangeQuery(benchmark::State& state) {
  const QueryFiles& files = queryFiles();
  RangeIndexReader reader(files.rangePath.c_str());
  std::mt19937 random(8);
  for (auto _ : state) {
    const auto [from, to] = drawRange(random, files.field, static_cast<uint32_t>(state.range(0)));
    benchmark::DoNotOptimize(reader.searchRange(from, to));
  }
  state.counters["values"] = reader.valueCount();
}

void BM_RangeVsE1(benchmark::State& state) {
  const QueryFiles& files = queryFiles();
  RangeIndexReader range(files.rangePath.c_str());
  E1IndexReader e1(files.e1Path.c_str());
  std::mt19937 random(9);
  double rangeTotal = 0;
  double e1Total = 0;
  for (auto _ : state) {
    const auto [from, to] = drawRange(random, files.field, static_cast<uint32_t>(state.range(0)));
    const auto start = Clock::now();
    std::unique_ptr<SFWAHVector> ours = range.searchRange(from, to);
    const auto middle = Clock::now();
    std::unique_ptr<SFWAHVector> theirs = e1Range(e1, from, to);
    const auto end = Clock::now();
    const double rangeTime = std::chrono::duration<double>(middle - start).count();
    state.SetIterationTime(rangeTime);
    rangeTotal += rangeTime;
    e1Total += std::chrono::duration<double>(end - middle).count();
    if ((ours ? ours->count() : 0) != (theirs ? theirs->count() : 0)) state.SkipWithError("the kinds disagree");
  }
  state.counters["e1_us"] = e1Total * 1e6 / static_cast<double>(state.iterations());
  state.counters["ratio"] = e1Total / rangeTotal;
}

BENCHMARK(BM_AddTimeOrdered)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AddRandomOrder)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RangeQuery)->RangeMultiplier(10)->Range(1, 100000)->Unit(benchmark::kMicrosecond);
// The E1 walk takes long at large widths: a fixed number of ranges each.
BENCHMARK(BM_RangeVsE1)->Arg(1)->Arg(100)->Iterations(200)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RangeVsE1)->Arg(1000)->Arg(10000)->Iterations(20)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RangeVsE1)->Arg(100000)->Iterations(5)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace quern

BENCHMARK_MAIN();
