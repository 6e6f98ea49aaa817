// index_check INDEXDIR TRUTHFILE: checks an index directory of a whole
// generated log against the generator's sidecar, streaming the sidecar so
// that logs of gigabytes fit: the record count, every record's locator, and
// for the user, app and private fields the record count of every value.
// Run from the directory holding the config.ini the index was made with.
// Prints what differs; exits 0 when nothing does.
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "config/config.h"
#include "index/index.h"
#include "kinds/e1indexreader.h"
#include "storage/endian.h"

namespace {

using namespace quern;

std::string le(uint64_t value, size_t bytes) {
  std::string text(8, '\0');
  storeLE64(reinterpret_cast<uint8_t*>(text.data()), value);
  return text.substr(0, bytes);
}

std::vector<std::string> columns(const std::string& line, size_t count) {
  std::vector<std::string> parts;
  size_t at = 0;
  while (parts.size() < count) {
    const size_t tab = line.find('\t', at);
    parts.push_back(line.substr(at, tab == std::string::npos ? std::string::npos : tab - at));
    if (tab == std::string::npos) break;
    at = tab + 1;
  }
  return parts;
}

struct Expected {
  std::vector<std::string> locatorTails;  // ":offset:ordinal" per record
  std::map<std::string, std::map<std::string, uint64_t>> counts;  // field, value, records
};

Expected readSidecar(const char* path) {
  std::ifstream in(path);
  Expected expected;
  std::map<uint64_t, uint32_t> seenInBlock;
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("frame\t", 0) != 0) continue;
    // frame blockOffset ordinal type frameSize eventTag user userCrc groupPath
    // groupCrc host peer serv servCrc app appCrc privateMark ...
    const std::vector<std::string> c = columns(line, 17);
    const uint32_t type = static_cast<uint32_t>(std::stoul(c[3]));
    const bool record = type == 2 || (type >= 7 && type <= 10);
    if (c[2] == "-1" || !record) continue;
    const uint64_t block = std::stoull(c[1]);
    expected.locatorTails.push_back(":" + c[1] + ":" + std::to_string(seenInBlock[block]++));
    ++expected.counts["user"][le(std::stoull(c[7]), 8)];
    ++expected.counts["app"][le(std::stoul(c[15]), 4)];
    ++expected.counts["private"][le(std::stoul(c[16]), 4)];
  }
  return expected;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: index_check INDEXDIR/ TRUTHFILE\n");
    return 2;
  }
  try {
    const Expected expected = readSidecar(argv[2]);
    GlobalConfig config("config.ini");
    FieldsInfo fields(config);
    IndexReader reader(argv[1], fields);
    reader.loadSummary();
    uint64_t faults = 0;
    if (reader.recordCount() != expected.locatorTails.size()) {
      std::printf("records: %u in the index, %zu in the sidecar\n", reader.recordCount(), expected.locatorTails.size());
      ++faults;
    }
    for (uint32_t r = 0; r < reader.recordCount() && r < expected.locatorTails.size(); ++r) {
      const std::string locator = reader.store()->locator(r + 1);
      if (locator.substr(locator.find(':')) != expected.locatorTails[r] && faults++ < 10) {
        std::printf("record %u: locator %s, expected %s\n", r + 1, locator.c_str(), expected.locatorTails[r].c_str());
      }
    }
    for (const auto& [field, values] : expected.counts) {
      E1IndexReader index((std::string(argv[1]) + field + ".e1").c_str());
      if (index.termCount() != values.size()) {
        std::printf("%s: %u terms, %zu values in the sidecar\n", field.c_str(), index.termCount(), values.size());
        ++faults;
      }
      for (const auto& [value, count] : values) {
        const auto vector = index.search(value.data(), static_cast<uint32_t>(value.size()));
        const uint32_t found = vector == nullptr ? 0 : vector->count();
        if (found != count && faults++ < 20) std::printf("%s: a value has %u records, expected %llu\n", field.c_str(),
                                                         found, static_cast<unsigned long long>(count));
      }
    }
    std::printf("%u records, %zu fields checked: %llu faults\n", reader.recordCount(), expected.counts.size(),
                static_cast<unsigned long long>(faults));
    return faults == 0 ? 0 : 1;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "index_check: %s\n", failure.what());
    return 1;
  }
}
