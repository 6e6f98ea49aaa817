#include "runs.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "children.h"
#include "quern.h"
#include "summary.h"

namespace quern::cli {

namespace fs = std::filesystem;

namespace {

// More merge inputs than this the library refuses.
constexpr uint32_t kMaxParts = 200;
// Without --parts, a part per this much log, so that progress shows.
constexpr uint64_t kAutoPartBytes = 256ull << 20;

struct IndexFlags {
  std::string log;
  std::string out;
  uint64_t begin = 0;
  uint64_t end = 0;  // 0: to the end of the log
  std::string memory;
  std::string cache;
  uint32_t parts = 0;  // 0: by size
  uint32_t jobs = 1;
};

struct Part {
  uint64_t begin;
  uint64_t end;
};

// A count or size: digits, then K, M or G for KiB, MiB, GiB.
uint64_t parseSize(const std::string& text) {
  size_t used = 0;
  uint64_t value = std::stoull(text, &used);
  const std::string suffix = text.substr(used);
  if (suffix == "K") value <<= 10;
  else if (suffix == "M") value <<= 20;
  else if (suffix == "G") value <<= 30;
  else if (!suffix.empty()) throw std::invalid_argument("bad size " + text);
  return value;
}

IndexFlags parseIndexFlags(const std::vector<std::string>& args) {
  IndexFlags flags;
  for (size_t i = 0; i < args.size(); i += 2) {
    if (i + 1 == args.size()) throw std::invalid_argument(args[i] + " needs a value");
    const std::string& name = args[i];
    const std::string& value = args[i + 1];
    if (name == "--in") flags.log = value;
    else if (name == "--out") flags.out = value;
    else if (name == "--begin") flags.begin = parseSize(value);
    else if (name == "--end") flags.end = parseSize(value);
    else if (name == "--memory") flags.memory = std::to_string(parseSize(value));
    else if (name == "--cache") flags.cache = std::to_string(parseSize(value));
    else if (name == "--parts") flags.parts = static_cast<uint32_t>(parseSize(value));
    else if (name == "--jobs") flags.jobs = static_cast<uint32_t>(parseSize(value));
    else throw std::invalid_argument("unknown flag " + name);
  }
  if (flags.log.empty() || flags.out.empty()) throw std::invalid_argument("--in and --out are required");
  if (flags.jobs == 0) throw std::invalid_argument("--jobs must be at least 1");
  return flags;
}

void writeText(const fs::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  if (!out.flush()) throw std::runtime_error("cannot write " + path.string());
}

std::string runFileText(const IndexFlags& flags, const Part& part, const std::string& dir) {
  std::string text = "[In]\npath=" + flags.log + "\nbegin=" + std::to_string(part.begin) +
                     "\nend=" + std::to_string(part.end) + "\n[Out]\ndir=" + dir + "\n[Global]\n";
  if (!flags.memory.empty()) text += "maxIndexMemory=" + flags.memory + "\n";
  if (!flags.cache.empty()) text += "cacheValueSize=" + flags.cache + "\n";
  return text;
}

std::string mergeFileText(const std::vector<std::string>& inputs, const std::string& out) {
  std::string text = "[In]\ncount=" + std::to_string(inputs.size()) + "\n";
  for (size_t i = 0; i < inputs.size(); ++i) text += "i" + std::to_string(i) + "=" + inputs[i] + "\n";
  return text + "[Out]\npath=" + out + "\n";
}

// The separator the library expects at the end of a merge's directories.
std::string withSeparator(const std::string& dir) {
  return dir.empty() || dir.back() == '/' || dir.back() == '\\' ? dir : dir + "/";
}

// The block offsets of the log from --begin on.
std::vector<uint64_t> blockBegins(const IndexFlags& flags) {
  const int count = qrn_indexer_slice(flags.log.c_str());
  if (count < 0) throw std::runtime_error(std::string("slice failed: ") + qrn_indexer_error());
  std::vector<uint64_t> begins;
  for (int i = 0; i < count; ++i) {
    const uint64_t begin = std::stoull(qrn_indexer_block(static_cast<unsigned>(i)));
    if (begin >= flags.begin) begins.push_back(begin);
  }
  return begins;
}

// Cuts [begin, end) at block starts into `wanted` parts (fewer only when
// there are fewer blocks) of about equal size in bytes.
std::vector<Part> planParts(const IndexFlags& flags, uint64_t end, const std::vector<uint64_t>& begins) {
  uint64_t wanted = flags.parts != 0 ? flags.parts : std::max<uint64_t>(flags.jobs, (end - flags.begin) / kAutoPartBytes + 1);
  wanted = std::max<uint64_t>(1, std::min<uint64_t>({wanted, begins.size(), kMaxParts}));
  std::vector<Part> parts{{flags.begin, end}};
  size_t previous = 0;
  for (uint64_t k = 1; k < wanted; ++k) {
    const uint64_t target = flags.begin + (end - flags.begin) / wanted * k;
    size_t cut = static_cast<size_t>(std::lower_bound(begins.begin(), begins.end(), target) - begins.begin());
    // Each part keeps at least one block, and leaves one for each part after it.
    cut = std::min<size_t>(std::max(cut, previous + 1), begins.size() - (wanted - k));
    parts.back().end = begins[cut];
    parts.push_back({begins[cut], end});
    previous = cut;
  }
  return parts;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool indexParts(const IndexFlags& flags, const std::vector<Part>& parts, const Self& self, const fs::path& work) {
  const auto start = std::chrono::steady_clock::now();
  std::vector<std::string> runFiles;
  for (size_t k = 0; k < parts.size(); ++k) {
    const fs::path dir = work / std::to_string(k);
    fs::create_directories(dir);
    runFiles.push_back((work / (std::to_string(k) + ".run")).string());
    writeText(runFiles.back(), runFileText(flags, parts[k], dir.string()));
  }
  size_t finished = 0;
  const auto report = [&](size_t k, int code) {
    std::printf("part %u/%u [%llu, %llu) %s after %.1f s\n", static_cast<unsigned>(++finished),
                static_cast<unsigned>(parts.size()),
                static_cast<unsigned long long>(parts[k].begin), static_cast<unsigned long long>(parts[k].end),
                code == 0 ? "indexed" : "FAILED", secondsSince(start));
    std::fflush(stdout);
  };
  if (flags.jobs == 1) {
    for (size_t k = 0; k < parts.size(); ++k) {
      const bool ok = runLibrary("-i", runFiles[k]);
      report(k, ok ? 0 : 1);
      if (!ok) return false;
    }
    return true;
  }
  std::vector<std::string> commands;
  for (const std::string& runFile : runFiles) {
    std::string command = shellQuoted(self.program);
    if (!self.logPath.empty()) command += " --log " + shellQuoted(self.logPath);
    commands.push_back(command + " index " + shellQuoted(runFile));
  }
  return runChildren(commands, flags.jobs, report) == 0;
}

int indexByFlags(const IndexFlags& flags, const Self& self) {
  const auto start = std::chrono::steady_clock::now();
  // Slicing first lets the library word what is wrong with the log.
  std::vector<uint64_t> begins = blockBegins(flags);
  const uint64_t end = flags.end != 0 ? flags.end : fs::file_size(flags.log);
  begins.erase(std::lower_bound(begins.begin(), begins.end(), end), begins.end());
  fs::create_directories(flags.out);
  const fs::path work = fs::path(flags.out) / ".parts";
  fs::create_directories(work);
  const std::vector<Part> parts = planParts(flags, end, begins);
  if (parts.size() == 1) {
    const std::string runFile = (work / "0.run").string();
    writeText(runFile, runFileText(flags, parts[0], flags.out));
    if (!runLibrary("-i", runFile)) return 1;
  } else {
    if (!indexParts(flags, parts, self, work)) return 1;
    std::vector<std::string> inputs;
    for (size_t k = 0; k < parts.size(); ++k) inputs.push_back(withSeparator((work / std::to_string(k)).string()));
    const std::string mergeFile = (work / "merge.ini").string();
    writeText(mergeFile, mergeFileText(inputs, withSeparator(flags.out)));
    if (!runLibrary("-m", mergeFile)) return 1;
  }
  fs::remove_all(work);
  std::printf("indexed %s [%llu, %llu) in %u part%s, %.1f s\n", flags.log.c_str(),
              static_cast<unsigned long long>(flags.begin), static_cast<unsigned long long>(end),
              static_cast<unsigned>(parts.size()),
              parts.size() == 1 ? "" : "s", secondsSince(start));
  printSummary(flags.out, summarize(flags.out), false);
  return 0;
}

}  // namespace

bool runLibrary(const char* mode, const std::string& runFile) {
  std::string program = "quern";
  std::string modeText = mode;
  std::string file = runFile;
  char* argv[] = {program.data(), modeText.data(), file.data(), nullptr};
  if (qrn_indexer_run(3, argv) == 0) return true;
  std::fprintf(stderr, "quern: run %s %s failed: %s\n", mode, runFile.c_str(), qrn_indexer_error());
  return false;
}

int indexVerb(const std::vector<std::string>& args, const Self& self) {
  if (args.size() == 1 && args[0].rfind("--", 0) != 0) return runLibrary("-i", args[0]) ? 0 : 1;
  IndexFlags flags;
  try {
    flags = parseIndexFlags(args);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "quern index: %s\n", failure.what());
    return 2;
  }
  return indexByFlags(flags, self);
}

int mergeVerb(const std::vector<std::string>& args) {
  if (args.size() == 1) return runLibrary("-m", args[0]) ? 0 : 1;
  if (args.size() < 3 || args[0] != "--out") {
    std::fprintf(stderr, "quern merge: MERGEFILE, or --out DIR and the input directories\n");
    return 2;
  }
  const std::string out = withSeparator(args[1]);
  std::vector<std::string> inputs;
  for (size_t i = 2; i < args.size(); ++i) inputs.push_back(withSeparator(args[i]));
  fs::create_directories(out);
  const fs::path mergeFile = fs::path(out) / ".merge.ini";
  writeText(mergeFile, mergeFileText(inputs, out));
  const bool ok = runLibrary("-m", mergeFile.string());
  fs::remove(mergeFile);
  if (!ok) return 1;
  printSummary(out, summarize(out), false);
  return 0;
}

}  // namespace quern::cli
