// qvloggen: writes realistic qvlog files as the appliance does, with the INI
// files a host needs beside them (groups.ini, resource.ini, config.ini) and
// an optional ground-truth sidecar (truth.h). The same options and seed give
// the same bytes on every platform.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "truth.h"

namespace quern::qvloggen {

struct Options {
  uint64_t seed = 1;
  // The log ends with the first block that reaches this size...
  uint64_t bytes = 16u << 20;
  // ...unless a block count is given.
  uint32_t blocks = 0;
  uint32_t users = 400;
  uint32_t groups = 60;
  uint32_t compressedPercent = 80;
  // Largest raw block; leaves room for zlib's worst case inside 2 MiB.
  uint32_t maxBlock = (2u << 20) - (64u << 10);
  int level = 1;
  bool truth = true;
  std::string logName = "sample.qvlog";
  std::string start = "2026/11/22 10:00:00";
};

struct Summary {
  std::string logPath;
  std::string truthPath;  // empty without a sidecar
  uint64_t bytes = 0;
  uint64_t frames = 0;
  uint64_t hidden = 0;
  std::vector<TruthBlock> blocks;
};

// Writes the log and its INI files into `dir` (created if missing). Throws
// std::invalid_argument for bad options and std::runtime_error for I/O.
Summary generate(const Options& options, const std::string& dir);

// The INI files, as texts.
std::string configIni();
std::string resourceIni();

}  // namespace quern::qvloggen
