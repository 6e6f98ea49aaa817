// Indexing a generated log end to end (records and raw MB per second on one
// core) and the stages that make it up, so that the time can be split:
// Inflate reads and inflates every block; Decode adds the walk over the
// record frames and what the collector makes of each (fixed fields, time
// text, the payload's searchable text); Index is the whole run, so Index
// less Decode is field indexing and the store. Merge joins four slices of
// the log and counts the MB of field files it reads. The configuration is
// the shipped one: `time` a Range field, `result` full text.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "benchsize.h"
#include "config/config.h"
#include "frame/indexrun.h"
#include "index/fieldsinfo.h"
#include "index/index.h"
#include "index/indexmerger.h"
#include "intake/collector.h"
#include "intake/framereader.h"
#include "intake/frameview.h"
#include "platform/platform.h"
#include "qvloggen/qvloggen.h"

namespace {

namespace fs = std::filesystem;
using namespace quern;

// The log and its INI files in a scratch directory that becomes the current
// one (the runs read config.ini and groups.ini there).
struct Sample {
  Sample() : dir(fs::temp_directory_path() / "quern-bench-index") {
    fs::remove_all(dir);
    qvloggen::Options options;
    options.bytes = bench::scaled(256u << 20, 1u << 20);
    options.truth = false;
    summary = qvloggen::generate(options, dir.string());
    fs::current_path(dir);
    config = std::make_unique<GlobalConfig>("config.ini");
    fields = std::make_unique<FieldsInfo>(*config);
  }
  ~Sample() {
    fs::current_path(fs::temp_directory_path());
    fs::remove_all(dir);
  }

  fs::path dir;
  qvloggen::Summary summary;
  std::unique_ptr<GlobalConfig> config;
  std::unique_ptr<FieldsInfo> fields;
};

Sample& sample() {
  static Sample s;
  return s;
}

// Indexes [begin, end) of the log into the fresh directory `out`.
void indexInto(const std::string& out, uint64_t begin, uint64_t end) {
  fs::remove_all(out);
  fs::create_directory(out);
  std::ofstream(out + ".run") << "[In]\npath=" << sample().summary.logPath << "\nbegin=" << begin << "\nend=" << end
                              << "\n[Out]\ndir=" << out << "\n[Global]\nmaxIndexMemory=4000000000\n";
  RunIndex((out + ".run").c_str(), *sample().fields);
}

// Walks every block; with `decode`, also makes each record's values. Gives
// the raw bytes; counts records.
uint64_t walk(bool decode, uint64_t& records) {
  CQvlogReader reader(sample().summary.logPath.c_str());
  static const CResultReader result;
  std::vector<uint8_t> text(kLogBufferSize + 4096);
  LogBlockHeader header;
  uint64_t raw = 0;
  while (CQvlogIterator* frames = reader.ReadBlock(&header, 1)) {
    raw += header.rawSize;
    if (!decode) continue;
    FrameHeader frameHeader;
    while (const uint8_t* body = nextRecordFrame(*frames, frameHeader)) {
      FrameView frame;
      frame.load(frameHeader, body);
      benchmark::DoNotOptimize(frame.timeText());
      benchmark::DoNotOptimize(frame.snapText());
      result.Read(frame.payload(), frame.payloadSize(), text.data(), static_cast<uint32_t>(text.size()));
      ++records;
    }
  }
  return raw;
}

void report(benchmark::State& state, uint64_t raw, uint64_t records) {
  state.SetBytesProcessed(static_cast<int64_t>(raw));
  state.counters["records/s"] = benchmark::Counter(static_cast<double>(records), benchmark::Counter::kIsRate);
}

void BM_Inflate(benchmark::State& state) {
  sample();  // made before the clock starts
  uint64_t raw = 0, records = 0;
  for (auto _ : state) raw += walk(false, records);
  report(state, raw, records);
}
BENCHMARK(BM_Inflate)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Decode(benchmark::State& state) {
  sample();  // made before the clock starts
  uint64_t raw = 0, records = 0;
  for (auto _ : state) raw += walk(true, records);
  report(state, raw, records);
}
BENCHMARK(BM_Decode)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Index(benchmark::State& state) {
  sample();  // made before the clock starts
  uint64_t logRecords = 0;
  const uint64_t logRaw = walk(true, logRecords);
  uint64_t raw = 0, records = 0;
  for (auto _ : state) {
    indexInto("whole", 0, sample().summary.bytes);
    raw += logRaw;
    records += logRecords;
  }
  IndexReader reader("whole/", *sample().fields);
  reader.loadSummary();
  if (reader.recordCount() != logRecords) state.SkipWithError("the index lost records");
  report(state, raw, records);
}
BENCHMARK(BM_Index)->Unit(benchmark::kMillisecond)->UseRealTime();

// Four slices of the log, indexed once; `fieldBytes` gets the size of their
// field files.
const std::vector<std::string>& slices(uint64_t& fieldBytes) {
  static uint64_t bytes = 0;
  static const std::vector<std::string> inputs = [] {
    const std::vector<qvloggen::TruthBlock>& blocks = sample().summary.blocks;
    std::vector<std::string> dirs;
    for (size_t k = 0; k < 4; ++k) {
      const size_t first = blocks.size() * k / 4, next = blocks.size() * (k + 1) / 4;
      if (first == next) continue;
      const std::string dir = "slice" + std::to_string(k);
      indexInto(dir, blocks[first].offset, next == blocks.size() ? sample().summary.bytes : blocks[next].offset);
      dirs.push_back(dir + "/");
      for (const auto& entry : fs::directory_iterator(dir)) {
        if (entry.path().extension() == ".e1") bytes += entry.file_size();
      }
    }
    return dirs;
  }();
  fieldBytes = bytes;
  return inputs;
}

void BM_Merge(benchmark::State& state) {
  uint64_t fieldBytes = 0;
  const std::vector<std::string>& inputs = slices(fieldBytes);  // made before the clock starts
  uint64_t merged = 0;
  for (auto _ : state) {
    state.PauseTiming();
    fs::remove_all("merged");
    fs::create_directory("merged");
    state.ResumeTiming();
    IndexMerger(*sample().fields).Merge(inputs, "merged/");
    merged += fieldBytes;
  }
  state.SetBytesProcessed(static_cast<int64_t>(merged));
  state.counters["inputs"] = static_cast<double>(inputs.size());
}
BENCHMARK(BM_Merge)->Unit(benchmark::kMillisecond)->UseRealTime();

// The part of a merge that opens each source's field readers, which load
// their term tables, and closes them again before the merge scans the files.
void BM_MergeOpen(benchmark::State& state) {
  uint64_t fieldBytes = 0;
  const std::vector<std::string>& inputs = slices(fieldBytes);
  for (auto _ : state) {
    for (const std::string& input : inputs) {
      IndexReader reader(input, *sample().fields);
      reader.loadSummary();
      for (uint32_t id = 0; id < sample().fields->fieldCount(); ++id) {
        const std::string name = sample().fields->fieldName(id);
        reader.fieldReader(name)->close();
        reader.forgetField(name);
      }
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(fieldBytes * state.iterations()));
}
BENCHMARK(BM_MergeOpen)->Unit(benchmark::kMillisecond)->UseRealTime();

// What any merge of these slices must at least do: read every field file
// through 64 KiB reads and write the bytes to one file, synced to disk.
void BM_CopyFloor(benchmark::State& state) {
  uint64_t fieldBytes = 0;
  const std::vector<std::string>& inputs = slices(fieldBytes);
  std::vector<char> buffer(1u << 16);
  for (auto _ : state) {
    auto out = platform::File::open("copy", "wb");
    for (const std::string& input : inputs) {
      for (const auto& entry : fs::directory_iterator(input)) {
        if (entry.path().extension() != ".e1") continue;
        auto in = platform::File::open(entry.path().string().c_str(), "rb");
        for (size_t n; (n = in->read(buffer.data(), buffer.size())) != 0;) out->write(buffer.data(), n);
      }
    }
    if (!out->flush() || !out->sync()) state.SkipWithError("the copy failed");
  }
  fs::remove("copy");
  state.SetBytesProcessed(static_cast<int64_t>(fieldBytes * state.iterations()));
}
BENCHMARK(BM_CopyFloor)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
