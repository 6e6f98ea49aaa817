#include "options.h"

#include <cstdint>

namespace quern::qvloggen {

namespace {

// Decimal, with an optional K, M or G (binary) suffix.
bool parseSize(const std::string& text, uint64_t& value) {
  if (text.empty()) return false;
  uint64_t number = 0;
  size_t i = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    if (number > (UINT64_MAX - 9) / 10) return false;
    number = number * 10 + static_cast<uint64_t>(text[i] - '0');
  }
  if (i == 0) return false;
  unsigned shift = 0;
  if (i + 1 == text.size()) {
    const char unit = text[i];
    shift = unit == 'K' || unit == 'k' ? 10 : unit == 'M' || unit == 'm' ? 20 : unit == 'G' || unit == 'g' ? 30 : 99;
    if (shift == 99) return false;
  } else if (i != text.size()) {
    return false;
  }
  if (shift != 0 && number > (UINT64_MAX >> shift)) return false;
  value = number << shift;
  return true;
}

bool parse32(const std::string& text, uint32_t& value) {
  uint64_t wide = 0;
  if (!parseSize(text, wide) || wide > UINT32_MAX) return false;
  value = static_cast<uint32_t>(wide);
  return true;
}

}  // namespace

const char* optionsHelp() {
  return "  --out DIR          directory to write into (default ./qvlog-sample)\n"
         "  --name FILE        log file name (default sample.qvlog)\n"
         "  --seed N           random seed (default 1)\n"
         "  --size N[K|M|G]    stop at the first block that reaches this size (default 16M)\n"
         "  --blocks N         write exactly N blocks instead\n"
         "  --users N          number of users (default 400)\n"
         "  --groups N         number of groups (default 60)\n"
         "  --compressed P     percentage of compressed blocks (default 80)\n"
         "  --max-block N      largest raw block, 4K to 1984K (default 1984K)\n"
         "  --level L          zlib level 1 to 9 (default 1)\n"
         "  --start TIME       first event time, \"YYYY/MM/DD hh:mm:ss\"\n"
         "  --no-truth         do not write the ground-truth sidecar\n";
}

bool parseOptions(const std::vector<std::string>& args, Options& options, std::string& dir, std::string& error) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& name = args[i];
    if (name == "--no-truth") {
      options.truth = false;
      continue;
    }
    if (i + 1 == args.size()) {
      error = name.rfind("--", 0) == 0 ? "missing value for " + name : "unknown option " + name;
      return false;
    }
    const std::string& value = args[++i];
    uint32_t level = 0;
    bool ok = true;
    if (name == "--out") {
      dir = value;
    } else if (name == "--name") {
      options.logName = value;
    } else if (name == "--start") {
      options.start = value;
    } else if (name == "--seed") {
      ok = parseSize(value, options.seed);
    } else if (name == "--size") {
      ok = parseSize(value, options.bytes);
    } else if (name == "--blocks") {
      ok = parse32(value, options.blocks);
    } else if (name == "--users") {
      ok = parse32(value, options.users);
    } else if (name == "--groups") {
      ok = parse32(value, options.groups);
    } else if (name == "--compressed") {
      ok = parse32(value, options.compressedPercent);
    } else if (name == "--max-block") {
      ok = parse32(value, options.maxBlock);
    } else if (name == "--level") {
      ok = parse32(value, level) && level <= 9;
      options.level = static_cast<int>(level);
    } else {
      error = "unknown option " + name;
      return false;
    }
    if (!ok) {
      error = "bad value for " + name + ": " + value;
      return false;
    }
  }
  return true;
}

}  // namespace quern::qvloggen
