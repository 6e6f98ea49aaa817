// A generated log in a fresh directory that is the working directory while
// the object lives, beside the shipped config.ini as it stands.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "config/config.h"
#include "frame/indexrun.h"
#include "index/fieldsinfo.h"
#include "codec/posvector.h"
#include "kinds/e1indexreader.h"
#include "kinds/ftindexreader.h"
#include "kinds/rangeindexreader.h"
#include "qvloggen/qvloggen.h"
#include "support/sfwah.h"
#include "support/tempdir.h"

namespace quern::test {

// Every term of a field with its records; for a Range field, every value
// with its cumulative set (the records at or below it); for a full-text
// field, every term id (four bytes) followed by the term's positions, as
// numbers, record by record, with the records that hold it.
using Terms = std::map<std::string, Bits>;

// The cumulative sets of a field whose terms are `terms`.
inline Terms cumulative(const Terms& terms) {
  Terms sets;
  Bits running;
  for (const auto& [value, bits] : terms) {
    running.resize(bits.size());
    for (size_t r = 0; r < bits.size(); ++r) running[r] = running[r] || bits[r];
    sets[value] = running;
  }
  return sets;
}

class LogDir {
 public:
  LogDir(uint64_t seed, uint32_t blocks, uint32_t maxBlock) : home(std::filesystem::current_path()) {
    summary = qvloggen::generate({.seed = seed, .blocks = blocks, .maxBlock = maxBlock}, dir.path());
    std::filesystem::current_path(dir.path());
    // Removed first: mingw's copy_file refuses to overwrite whatever the options say.
    std::filesystem::remove("config.ini");
    std::filesystem::copy_file(QUERN_CONF_DIR "/config.ini", "config.ini");
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
    const uint32_t id = fields->fieldId(field);
    const std::string path = out + fields->fileName(id);
    Terms content;
    const auto take = [&](FieldIndexReader& reader, const std::string& term) {
      content[term] = bitsOf(*reader.search(term.data(), static_cast<uint32_t>(term.size())));
    };
    if (fields->indexerKind(id) == IndexerKind::Ft) return fullTextTerms(path);
    if (fields->indexerKind(id) == IndexerKind::Range) {
      RangeIndexReader reader(path.c_str());
      for (uint32_t i = 0; i < reader.valueCount(); ++i) take(reader, std::string(reader.value(i)));
    } else {
      E1IndexReader reader(path.c_str());
      for (uint32_t i = 0; i < reader.termCount(); ++i) take(reader, reader.term(i));
    }
    return content;
  }

  static Terms fullTextTerms(const std::string& path) {
    FtIndexReader reader(path.c_str());
    reader.beginScan();
    uint32_t records = 0;
    for (uint32_t count : reader.segments()) records += count;
    Terms content;
    int32_t term = 0;
    FtIndexReader::Offsets ends;
    while (reader.nextTerm(term, ends)) {
      std::unique_ptr<CInputDesc> recordInput = reader.input()->clone();
      std::unique_ptr<CInputDesc> positionInput = reader.input()->clone();
      recordInput->file().seek(ends.recordEnd);
      positionInput->file().seek(ends.positionEnd);
      const auto list = POSDecoderFactory::instance().create(std::move(recordInput), std::move(positionInput));
      std::string key(reinterpret_cast<const char*>(&term), 4);
      Bits bits(records);
      for (uint32_t record = 0; list->skipTo(record + 1, &record) && list->skipToCurrent();) {
        bits.at(record - 1) = true;
        for (uint32_t position = 0; list->nextPosition(position);) key += " " + std::to_string(position);
        key += ";";
        list->drain();
      }
      content[key] = bits;
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
