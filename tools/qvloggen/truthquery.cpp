#include "truthquery.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <functional>
#include <set>
#include <stdexcept>

#include "storage/address.h"
#include "storage/crc.h"
#include "vocabulary.h"

namespace quern::qvloggen {

namespace {

constexpr uint64_t kAbsentLevel = 0x8260C30C780786A2ULL;
constexpr uint32_t kMaxLimit = 10000000;
constexpr char kSeparator[] = "[mirtoks]";
constexpr char kTemporaryUser[] = "$\xE4\xB8\xB4\xE6\x97\xB6\xE7\x94\xA8\xE6\x88\xB7";

using Match = std::function<bool(const TruthRecord&)>;

uint64_t crcOf(const std::string& text) { return crc64(text.data(), static_cast<uint32_t>(text.size())); }

bool recordType(uint32_t type) { return type == 2 || (type >= 7 && type <= 10); }

// Pieces between separators, empty ones dropped.
std::vector<std::string> pieces(const std::string& text, char separator) {
  std::vector<std::string> result;
  size_t start = 0;
  while (start <= text.size()) {
    size_t stop = text.find(separator, start);
    if (stop == std::string::npos) stop = text.size();
    if (stop > start) result.push_back(text.substr(start, stop - start));
    start = stop + 1;
  }
  return result;
}

std::string trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// Level values as the collector stores them for a frame's group.
std::array<uint64_t, 15> levelsOf(const TruthFrame& frame) {
  std::array<uint64_t, 15> levels;
  levels.fill(kAbsentLevel);
  if (frame.groupCrc == 0) {
    levels[0] = 0;
    return levels;
  }
  // A group that groups.ini lacks has an empty path here: all levels absent.
  size_t level = 0;
  for (const std::string& part : pieces(frame.groupPath, '/')) {
    const std::string name = trimmed(part);
    if (!name.empty() && level < levels.size()) levels[level++] = crcOf(name);
  }
  return levels;
}

// The payload's searchable values, each followed by the separator.
std::string searchableText(const TruthFrame& frame) {
  static const std::set<std::string> kSkipped = {"urltype", "apptype",  "appname",  "apprule",  "count",
                                                 "filetype", "filesize", "filecount", "chat_dir", "chataction"};
  std::map<std::string, std::string> values;
  for (const auto& [key, value] : frame.items) {
    if (kSkipped.count(key) != 0 || key.find("attachpath") != std::string::npos) continue;
    values[key] = value;
  }
  static const char* const kOverlap[] = {"DNS", "url", "host", "urldata"};
  for (size_t a = 0; a < 4; ++a) {
    for (size_t b = a + 1; b < 4; ++b) {
      const auto first = values.find(kOverlap[a]);
      const auto second = values.find(kOverlap[b]);
      if (first == values.end() || second == values.end()) continue;
      if (first->second.find(second->second) != std::string::npos) {
        values.erase(second);
      } else if (second->second.find(first->second) != std::string::npos) {
        values.erase(first);
      }
    }
  }
  std::string text;
  for (const auto& [key, value] : values) {
    if (!value.empty()) text += value + kSeparator;
  }
  return text.empty() ? kSeparator : text;
}

// A decimal number as the C library reads one: leading white space and a
// sign are taken, the first other character ends it. Small values only.
int64_t leadingNumber(const std::string& text) {
  size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i])) != 0) ++i;
  const bool negative = i < text.size() && text[i] == '-';
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
  int64_t value = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9' && value < (int64_t{1} << 40); ++i) {
    value = value * 10 + (text[i] - '0');
  }
  return negative ? -value : value;
}

// A range of `key` ("a" or "a-b"): from and to, or nothing for a refusal.
std::optional<std::pair<std::string, std::string>> rangeOf(const std::string& value) {
  const std::vector<std::string> ends = pieces(value, '-');
  if (ends.empty()) return std::nullopt;
  return std::make_pair(ends[0], ends.size() > 1 ? ends[1] : ends[0]);
}

std::optional<Match> hostClause(const std::string& value) {
  const auto ends = rangeOf(value);
  if (!ends) return std::nullopt;
  std::array<uint8_t, 16> from;
  std::array<uint8_t, 16> to;
  if (addressFromText(ends->first.c_str(), from.data()) != 0) return std::nullopt;
  if (addressFromText(ends->second.c_str(), to.data()) != 0) return std::nullopt;
  if (std::memcmp(from.data(), to.data(), 16) > 0) return std::nullopt;
  return Match([from, to](const TruthRecord& r) {
    return std::memcmp(from.data(), r.host, 16) <= 0 && std::memcmp(r.host, to.data(), 16) <= 0;
  });
}

// Nothing when no path has a level: then there is no clause.
std::optional<Match> groupClause(const std::string& value) {
  std::vector<std::vector<uint64_t>> paths;
  for (const std::string& path : pieces(value, '\t')) {
    std::vector<uint64_t> levels;
    for (const std::string& level : pieces(path, '/')) levels.push_back(crcOf(level));
    if (levels.size() > 15) throw std::invalid_argument("group path deeper than 15 levels: " + path);
    if (!levels.empty()) paths.push_back(std::move(levels));
  }
  if (paths.empty()) return std::nullopt;
  return Match([paths](const TruthRecord& r) {
    for (const std::vector<uint64_t>& path : paths) {
      bool all = true;
      for (size_t k = 0; k < path.size() && all; ++k) all = r.levels[k] == path[k];
      if (all) return true;
    }
    return false;
  });
}

Match servClause(const std::string& value) {
  const uint32_t serv = labelCrc(value);
  if (serv != labelCrc(kResMailRecvSend)) return [serv](const TruthRecord& r) { return r.frame->servCrc == serv; };
  const uint32_t httpApp = labelCrc(kResHttpApp);
  const uint32_t webMail = labelCrc(kResWebMail);
  const uint32_t mail = labelCrc(kResMail);
  return [=](const TruthRecord& r) {
    return (r.frame->servCrc == httpApp && r.frame->appCrc == webMail) || r.frame->servCrc == mail;
  };
}

// Alternatives at TAB, phrases of one at 0x08; an alternative matches when
// each of its phrases does, a phrase when its words (there must be one at
// least) stand side by side in the record's words.
Match resultClause(const std::string& value) {
  using Phrase = std::vector<std::string>;
  std::vector<std::vector<Phrase>> alternatives;
  for (const std::string& alternative : pieces(value, '\t')) {
    alternatives.emplace_back();
    for (const std::string& phrase : pieces(alternative, '\b')) alternatives.back().push_back(truthWords(phrase));
  }
  return [alternatives](const TruthRecord& r) {
    const auto holds = [&](const Phrase& phrase) {
      return !phrase.empty() && std::search(r.words.begin(), r.words.end(), phrase.begin(), phrase.end()) != r.words.end();
    };
    for (const std::vector<Phrase>& phrases : alternatives) {
      if (!phrases.empty() && std::all_of(phrases.begin(), phrases.end(), holds)) return true;
    }
    return false;
  };
}

}  // namespace

std::vector<TruthRecord> truthRecords(const Truth& truth) {
  std::vector<TruthRecord> records;
  uint64_t block = 0;
  uint32_t ordinal = 0;
  for (const TruthFrame& frame : truth.frames) {
    if (frame.ordinal < 0 || !recordType(frame.type)) continue;
    if (records.empty() || frame.blockOffset != block) ordinal = 0;
    block = frame.blockOffset;
    TruthRecord record;
    record.id = static_cast<uint32_t>(records.size() + 1);
    record.blockOffset = frame.blockOffset;
    record.ordinal = ordinal++;
    record.frame = &frame;
    record.levels = levelsOf(frame);
    if (addressFromText(frame.host.c_str(), record.host) != 0) {
      throw std::invalid_argument("bad host in the sidecar: " + frame.host);
    }
    record.text = searchableText(frame);
    record.words = truthWords(record.text);
    records.push_back(std::move(record));
  }
  return records;
}

std::vector<std::string> truthWords(const std::string& text) {
  std::vector<std::string> words;
  std::string run;
  const auto endRun = [&] {
    if (!run.empty()) words.push_back(run);
    run.clear();
  };
  for (size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x80) {
      if (std::isalnum(c) != 0) {
        run.push_back(static_cast<char>(std::tolower(c)));
      } else {
        endRun();
      }
      ++i;
      continue;
    }
    endRun();
    const size_t length = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : 2;
    if (length == 3 && i + 3 <= text.size()) {
      const uint32_t point = (c & 0x0Fu) << 12 | (static_cast<unsigned char>(text[i + 1]) & 0x3Fu) << 6 |
                             (static_cast<unsigned char>(text[i + 2]) & 0x3Fu);
      if (point >= 0x3400 && point <= 0x9FFF) words.push_back(text.substr(i, 3));
    }
    i += length;
  }
  endRun();
  return words;
}

std::string truthLocator(const TruthRecord& record, uint32_t logNumber) {
  return std::to_string(logNumber) + ":" + std::to_string(static_cast<uint32_t>(record.blockOffset)) + ":" +
         std::to_string(record.ordinal);
}

std::optional<std::vector<uint32_t>> truthMatches(const std::vector<TruthRecord>& records,
                                                  const QueryValues& values) {
  const auto value = [&](const char* key) {
    const auto found = values.find(key);
    return found == values.end() ? std::string() : found->second;
  };
  if (value("cancel").empty() || value("limit").empty()) return std::nullopt;
  const int64_t limit = leadingNumber(value("limit"));
  if (limit < 0 || limit > kMaxLimit) return std::nullopt;

  std::vector<Match> clauses;
  if (const std::string user = value("user"); !user.empty()) {
    const uint64_t key = user == kTemporaryUser ? 0 : crcOf(user);
    clauses.push_back([key](const TruthRecord& r) { return r.frame->userCrc == key; });
  }
  if (const auto group = groupClause(value("group"))) clauses.push_back(*group);
  if (const std::string host = value("host"); !host.empty()) {
    const auto clause = hostClause(host);
    if (!clause) return std::nullopt;
    clauses.push_back(*clause);
  }
  if (const std::string serv = value("serv"); !serv.empty()) clauses.push_back(servClause(serv));
  if (const std::string app = value("app"); !app.empty()) {
    const uint32_t key = labelCrc(app);
    clauses.push_back([key](const TruthRecord& r) { return r.frame->appCrc == key; });
  }
  if (const std::string mark = value("private"); !mark.empty()) {
    const auto key = static_cast<uint32_t>(leadingNumber(mark));
    clauses.push_back([key](const TruthRecord& r) { return r.frame->privateMark == key; });
  }
  const auto time = rangeOf(value("time"));
  if (!time || time->first > time->second) return std::nullopt;
  clauses.push_back([time](const TruthRecord& r) { return time->first <= r.frame->time && r.frame->time <= time->second; });
  if (const std::string result = value("result"); !result.empty()) clauses.push_back(resultClause(result));
  if (const std::string snap = value("snap"); !snap.empty()) {
    const bool key = leadingNumber(snap) != 0;
    clauses.push_back([key](const TruthRecord& r) { return !r.frame->snap.empty() == key; });
  }

  std::vector<uint32_t> ids;
  for (const TruthRecord& record : records) {
    bool all = true;
    for (size_t i = 0; i < clauses.size() && all; ++i) all = clauses[i](record);
    if (all) ids.push_back(record.id);
  }
  return ids;
}

}  // namespace quern::qvloggen
