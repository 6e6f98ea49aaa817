#include "sample.h"

#include <cstdio>

#include "quern.h"

namespace quern::cli {

qvloggen::Summary generateReporting(const qvloggen::Options& options, const std::string& dir) {
  const qvloggen::Summary summary = qvloggen::generate(options, dir);
  std::printf("generated %s: %llu bytes, %llu blocks, %llu frames (%llu hidden)\n", summary.logPath.c_str(),
              static_cast<unsigned long long>(summary.bytes),
              static_cast<unsigned long long>(summary.blocks.size()),
              static_cast<unsigned long long>(summary.frames), static_cast<unsigned long long>(summary.hidden));
  std::printf("wrote %s/groups.ini, %s/names.ini, %s/resource.ini, %s/config.ini%s%s\n", dir.c_str(), dir.c_str(),
              dir.c_str(), dir.c_str(), summary.truthPath.empty() ? "" : " and the sidecar ",
              summary.truthPath.c_str());
  return summary;
}

int printSlices(const std::string& log, bool quiet) {
  const int count = qrn_indexer_slice(log.c_str());
  if (count < 0) {
    std::fprintf(stderr, "quern: slice failed: %s\n", qrn_indexer_error());
    return -1;
  }
  for (int i = 0; i < count; ++i) {
    const char* text = qrn_indexer_block(static_cast<unsigned>(i));
    if (!quiet || i < 3 || i + 1 == count) std::printf("%s\n", text);
    if (quiet && i == 3 && count > 4) std::printf("...\n");
  }
  return count;
}

}  // namespace quern::cli
