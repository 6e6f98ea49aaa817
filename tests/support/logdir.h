// A generated log in a fresh directory that is the working directory while
// the object lives, beside a config.ini whose every field is e1 (the range
// and full-text kinds come later).
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "config/config.h"
#include "frame/indexrun.h"
#include "index/fieldsinfo.h"
#include "kinds/e1indexreader.h"
#include "qvloggen/qvloggen.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern::test {

// Every term of a field with its records.
using Terms = std::map<std::string, Bits>;

class LogDir {
 public:
  LogDir(uint64_t seed, uint32_t blocks, uint32_t maxBlock) : home(std::filesystem::current_path()) {
    summary = qvloggen::generate({.seed = seed, .blocks = blocks, .maxBlock = maxBlock}, dir.path());
    std::filesystem::current_path(dir.path());
    writeFile("config.ini", qvloggen::configIni(true));
    config = std::make_unique<GlobalConfig>("config.ini");
    fields = std::make_unique<FieldsInfo>(*config);
  }
  ~LogDir() { std::filesystem::current_path(home); }
  LogDir(const LogDir&) = delete;
  LogDir& operator=(const LogDir&) = delete;

  // Indexes [begin, end] of the log into `out` (made here) through a run
  // file with `limit` as the memory limit; gives "out/".
  std::string index(const std::string& out, uint64_t begin, uint64_t end, const std::string& limit = "4000000000") {
    std::filesystem::create_directories(out);
    // A run file of the same path and time is not read again: the path is
    // this directory's own.
    const std::string run = dir.file(out + ".run");
    writeFile(run, "[In]\npath=" + summary.logPath + "\nbegin=" + std::to_string(begin) + "\nend=" +
                       std::to_string(end) + "\n[Out]\ndir=" + out + "\n[Global]\nmaxIndexMemory=" + limit +
                       "\ncacheValueSize=64\n");
    RunIndex(run.c_str(), *fields);
    return out + "/";
  }

  // The terms of `field` in index directory `out`, which ends in "/".
  Terms terms(const std::string& out, const std::string& field) const {
    E1IndexReader reader((out + field + ".e1").c_str());
    Terms content;
    for (uint32_t i = 0; i < reader.termCount(); ++i) {
      const std::string term = reader.term(i);
      content[term] = bitsOf(*reader.search(term.data(), static_cast<uint32_t>(term.size())));
    }
    return content;
  }

  TempDir dir;
  std::filesystem::path home;
  qvloggen::Summary summary;
  std::unique_ptr<GlobalConfig> config;
  std::unique_ptr<FieldsInfo> fields;
};

}  // namespace quern::test
