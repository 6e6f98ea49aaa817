// Loading groups.ini, the largest INI file the library reads: one section
// per group, each with the group's path and its CRC-64.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "benchsize.h"
#include "config/ini.h"
#include "storage/crc.h"

namespace quern {
namespace {

class GroupsFile {
 public:
  explicit GroupsFile(uint64_t count)
      : m_path((std::filesystem::temp_directory_path() / "quern_ini_bench_groups.ini").string()) {
    std::ofstream out(m_path, std::ios::binary);
    out << "[global]\ncount = " << count << "\n\n";
    for (uint64_t i = 0; i < count; ++i) {
      const std::string name =
          "/corp/region" + std::to_string(i % 7) + "/dept" + std::to_string(i % 97) + "/team" + std::to_string(i);
      out << "[g" << i << "]\nname = " << name << "\ncrc = " << crc64(name.data(), uint32_t(name.size()))
          << "\n\n";
    }
    m_bytes = static_cast<uint64_t>(out.tellp());
  }
  ~GroupsFile() { std::filesystem::remove(m_path); }
  const char* path() const { return m_path.c_str(); }
  uint64_t bytes() const { return m_bytes; }

 private:
  std::string m_path;
  uint64_t m_bytes = 0;
};

const uint64_t kSections = bench::scaled(1000000, 1000);

void BM_LoadGroups(benchmark::State& state) {
  const GroupsFile file(kSections);
  for (auto _ : state) {
    state.PauseTiming();
    auto ini = std::make_unique<IniFile>();
    state.ResumeTiming();
    if (ini->Load(file.path()) != 0 || ini->sectionCount() != kSections + 1) state.SkipWithError("load failed");
    state.PauseTiming();
    ini.reset();  // freeing a million sections is not part of the load
    state.ResumeTiming();
  }
  state.counters["sections"] = double(kSections);
  state.SetBytesProcessed(int64_t(state.iterations() * file.bytes()));
}
BENCHMARK(BM_LoadGroups)->Unit(benchmark::kMillisecond);

// What the collector does after the load: every group's two keys by section name.
void BM_LookUpGroups(benchmark::State& state) {
  const GroupsFile file(kSections);
  IniFile ini;
  if (ini.Load(file.path()) != 0) state.SkipWithError("load failed");
  char section[32];
  char crc[32];
  for (auto _ : state) {
    uint64_t found = 0;
    for (uint64_t i = 0; i < kSections; ++i) {
      std::snprintf(section, sizeof section, "g%llu", static_cast<unsigned long long>(i));
      found += ini.Value(ini.Section(section), "name") != nullptr;
      found += ini.GetString(section, "crc", "", crc, sizeof crc)[0] != '\0';
    }
    if (found != 2 * kSections) state.SkipWithError("lookup failed");
  }
  state.SetItemsProcessed(int64_t(state.iterations() * kSections));
}
BENCHMARK(BM_LookUpGroups)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quern

BENCHMARK_MAIN();
