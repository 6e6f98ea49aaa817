// Generator throughput (bytes of compressed log written per second) and the
// cost of slicing: bytes read from the file per block, which must stay near
// a block head's worth whatever the payloads weigh.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "benchsize.h"
#include "quern.h"
#include "qvloggen/qvloggen.h"

namespace {

std::string scratchDir(const char* name) {
  return (std::filesystem::temp_directory_path() / name).generic_string();
}

// Bytes this process has read through system calls; 0 where the system does not say.
uint64_t bytesRead() {
  std::ifstream io("/proc/self/io");
  std::string key;
  uint64_t value = 0;
  while (io >> key >> value) {
    if (key == "rchar:") return value;
  }
  return 0;
}

void BM_Generate(benchmark::State& state) {
  const std::string dir = scratchDir("quern-bench-gen");
  quern::qvloggen::Options options;
  options.bytes = quern::bench::scaled(128u << 20, 1u << 20);
  options.truth = state.range(0) != 0;
  uint64_t written = 0;
  for (auto _ : state) written += quern::qvloggen::generate(options, dir).bytes;
  state.SetBytesProcessed(static_cast<int64_t>(written));
  std::filesystem::remove_all(dir);
}
BENCHMARK(BM_Generate)->Arg(0)->Arg(1)->ArgName("truth")->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Slice(benchmark::State& state) {
  const std::string dir = scratchDir("quern-bench-slice");
  quern::qvloggen::Options options;
  options.bytes = quern::bench::scaled(1u << 30, 2u << 20);
  options.truth = false;
  const quern::qvloggen::Summary summary = quern::qvloggen::generate(options, dir);
  uint64_t read = 0, blocks = 0;
  for (auto _ : state) {
    const uint64_t before = bytesRead();
    blocks += static_cast<uint64_t>(qrn_indexer_slice(summary.logPath.c_str()));
    read += bytesRead() - before;
  }
  state.counters["log_MiB"] = static_cast<double>(summary.bytes) / (1 << 20);
  state.counters["blocks"] = static_cast<double>(summary.blocks.size());
  state.counters["read_per_block"] = static_cast<double>(read) / static_cast<double>(blocks);
  state.counters["read_share"] = static_cast<double>(read) / static_cast<double>(summary.bytes * state.iterations());
  std::filesystem::remove_all(dir);
}
BENCHMARK(BM_Slice)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
