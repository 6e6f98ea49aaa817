// A small index directory made from given records, on a field table of its
// own, for tests that search without a log: the store stays empty.
#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "config/config.h"
#include "index/fieldsinfo.h"
#include "index/index.h"
#include "platform/platform.h"
#include "storage/endian.h"
#include "support/tempdir.h"

namespace quern::test {

using Record = std::vector<std::string>;

// One record: a value per field, in field order.
inline void putRecord(IndexWriter& writer, const Record& record) {
  uint32_t size = 0;
  for (const std::string& value : record) size += 4 + static_cast<uint32_t>(value.size());
  uint8_t* at = writer.newRecord(size) + 4;
  for (const std::string& value : record) {
    storeLE32(at, static_cast<uint32_t>(value.size()));
    std::memcpy(at + 4, value.data(), value.size());
    at += 4 + value.size();
  }
}

// A config.ini of the given fields and kinds ("name", "e1") and the
// directory `out` ("dir/out/") with the records; no record leaves the
// directory with a record count of 0.
struct SmallIndex {
  SmallIndex(const std::vector<std::pair<std::string, std::string>>& kinds, const std::vector<Record>& records) {
    std::string names;
    std::string sections;
    for (const auto& [name, kind] : kinds) {
      names += (names.empty() ? "" : ",") + name;
      sections += "[" + name + "]\nindexer = " + kind + "\n";
    }
    writeFile(dir.file("config.ini"), "[Global]\nindexFields = " + names + "\n" + sections);
    config = std::make_unique<GlobalConfig>(dir.file("config.ini").c_str());
    fields = std::make_unique<FieldsInfo>(*config);
    platform::makeDirectory(out.c_str());
    IndexWriter writer(out, *fields, 64);
    for (const Record& record : records) putRecord(writer, record);
    writer.flush();
    writer.finish();
  }

  TempDir dir;
  std::string out = dir.file("out/");
  std::unique_ptr<GlobalConfig> config;
  std::unique_ptr<FieldsInfo> fields;
};

}  // namespace quern::test
