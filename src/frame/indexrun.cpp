#include "frame/indexrun.h"

#include "config/config.h"
#include "frame/directories.h"
#include "base/exception.h"
#include "index/index.h"
#include "index/indexmerger.h"
#include "intake/collector.h"
#include "platform/platform.h"

namespace quern {

void NewPassDirectory(const std::string& dir, uint32_t index, std::vector<std::string>& list) {
  const std::string path = formatText("%s/%u/", dir.c_str(), index);
  list.push_back(path);
  if (MakeDirectories(path) == 0) QRN_RAISE(2, "make directory %s fail", path.c_str());
  MoveFiles(dir, path);
}

void RunIndex(const char* configPath) { RunIndex(configPath, FieldsInfo::instance()); }

void RunIndex(const char* configPath, const FieldsInfo& fields) {
  IndexConfig& config = IndexConfig::instance();
  config.load(configPath);
  const std::string dir = config.outDir();
  bool directory = false;
  if (!platform::isDirectory(dir.c_str(), directory) || !directory) QRN_RAISE(2, "invalid directory %s", dir.c_str());
  const uint64_t end = config.end();
  uint64_t position = config.begin();
  uint32_t pass = 0;
  std::vector<std::string> passes;
  for (;;) {
    {
      IndexWriter writer(dir, fields, config.cacheValueSize());
      auto owned = std::make_unique<Collector>(&writer, config.inPath());
      Collector& collector = *owned;
      writer.setCollector(std::move(owned));
      position = collector.Collect(position, end);
      writer.flush();
      writer.finish();
    }
    // The next pass measures its own growth, not this one's freed pages.
    platform::releaseFreeMemory();
    if (position >= end) break;
    NewPassDirectory(dir, pass++, passes);
  }
  if (passes.empty()) return;
  NewPassDirectory(dir, pass, passes);
  IndexMerger(fields).Merge(passes, dir);
  for (const std::string& path : passes) RemoveDirectory(path);
  QRN_TRACE(1, "index %s in %u passes success", config.inPath(), pass + 1);
}

void RunMerge(const char* configPath) { IndexMerger().mergeFile(configPath); }

}  // namespace quern
