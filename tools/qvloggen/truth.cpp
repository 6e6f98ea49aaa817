#include "truth.h"

#include <fstream>
#include <stdexcept>

namespace quern::qvloggen {

namespace {

constexpr char kHead[] = "# qvloggen truth 1";

void put(std::ostream& out, const std::string& text) {
  out.put('\t');
  for (const char c : text) {
    switch (c) {
      case '\\': out << "\\\\"; break;
      case '\t': out << "\\t"; break;
      case '\n': out << "\\n"; break;
      case '\r': out << "\\r"; break;
      default: out.put(c);
    }
  }
}

void put(std::ostream& out, uint64_t value) { out << '\t' << value; }

std::vector<std::string> columns(const std::string& line) {
  std::vector<std::string> result(1);
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '\t') {
      result.emplace_back();
    } else if (c == '\\' && i + 1 < line.size()) {
      const char escaped = line[++i];
      result.back().push_back(escaped == 't' ? '\t' : escaped == 'n' ? '\n' : escaped == 'r' ? '\r' : escaped);
    } else {
      result.back().push_back(c);
    }
  }
  return result;
}

// Decimal, with a leading "-" for the ordinal of hidden frames (two's complement).
uint64_t number(const std::string& text) {
  const bool negative = !text.empty() && text[0] == '-';
  const std::string digits = negative ? text.substr(1) : text;
  if (digits.empty() || digits.size() > 20 || digits.find_first_not_of("0123456789") != std::string::npos) {
    throw std::invalid_argument("not a number: " + text);
  }
  const uint64_t value = std::stoull(digits);
  return negative ? ~value + 1 : value;
}

}  // namespace

void writeTruthHead(std::ostream& out) { out << kHead << '\n'; }

void writeTruthBlock(std::ostream& out, const TruthBlock& block) {
  out << "block";
  put(out, block.offset);
  put(out, block.end);
  put(out, block.sliceTag);
  put(out, block.compressed ? 1 : 0);
  put(out, block.rawSize);
  put(out, block.frames);
  out << '\n';
}

void writeTruthFrame(std::ostream& out, const TruthFrame& frame) {
  out << "frame";
  put(out, frame.blockOffset);
  out << '\t' << frame.ordinal;
  put(out, frame.type);
  put(out, frame.frameSize);
  put(out, frame.eventTag);
  put(out, frame.user);
  put(out, frame.userCrc);
  put(out, frame.groupPath);
  put(out, frame.groupCrc);
  put(out, frame.host);
  put(out, frame.peer);
  put(out, frame.serv);
  put(out, frame.servCrc);
  put(out, frame.app);
  put(out, frame.appCrc);
  put(out, frame.privateMark);
  put(out, frame.time);
  put(out, frame.snap);
  for (const auto& [key, value] : frame.items) {
    put(out, key);
    put(out, value);
  }
  out << '\n';
}

Truth readTruth(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::string line;
  if (!std::getline(in, line) || line != kHead) throw std::runtime_error("not a truth file: " + path);
  Truth truth;
  for (size_t number_ = 2; std::getline(in, line); ++number_) {
    try {
      const std::vector<std::string> c = columns(line);
      if (c[0] == "block" && c.size() == 7) {
        truth.blocks.push_back(TruthBlock{number(c[1]), number(c[2]), static_cast<uint32_t>(number(c[3])),
                                          number(c[4]) != 0, static_cast<uint32_t>(number(c[5])),
                                          static_cast<uint32_t>(number(c[6]))});
      } else if (c[0] == "frame" && c.size() >= 19 && c.size() % 2 == 1) {
        TruthFrame f;
        f.blockOffset = number(c[1]);
        f.ordinal = static_cast<int32_t>(number(c[2]));
        f.type = static_cast<uint32_t>(number(c[3]));
        f.frameSize = static_cast<uint32_t>(number(c[4]));
        f.eventTag = static_cast<uint32_t>(number(c[5]));
        f.user = c[6];
        f.userCrc = number(c[7]);
        f.groupPath = c[8];
        f.groupCrc = number(c[9]);
        f.host = c[10];
        f.peer = c[11];
        f.serv = c[12];
        f.servCrc = static_cast<uint32_t>(number(c[13]));
        f.app = c[14];
        f.appCrc = static_cast<uint32_t>(number(c[15]));
        f.privateMark = static_cast<uint32_t>(number(c[16]));
        f.time = c[17];
        f.snap = c[18];
        for (size_t i = 19; i + 1 < c.size(); i += 2) f.items.emplace_back(c[i], c[i + 1]);
        truth.frames.push_back(std::move(f));
      } else {
        throw std::invalid_argument("unknown line");
      }
    } catch (const std::exception& failure) {
      throw std::runtime_error(path + ":" + std::to_string(number_) + ": " + failure.what());
    }
  }
  return truth;
}

}  // namespace quern::qvloggen
