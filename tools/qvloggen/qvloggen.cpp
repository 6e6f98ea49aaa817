#include "qvloggen.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "clock.h"
#include "framemaker.h"
#include "logwriter.h"
#include "random.h"
#include "vocabulary.h"
#include "world.h"

namespace quern::qvloggen {

namespace {

constexpr uint32_t kMinBlock = 4096;

void writeText(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  if (!out) throw std::runtime_error("cannot write " + path);
}

std::string groupsIni(const World& world) {
  std::string text = "[global]\ncount=" + std::to_string(world.groups().size()) + "\n";
  for (size_t i = 0; i < world.groups().size(); ++i) {
    const Group& group = world.groups()[i];
    text += "\n[g" + std::to_string(i) + "]\nname=" + group.path + "\ncrc=" + std::to_string(group.crc) + "\n";
  }
  return text;
}

// The names behind the checksums of frames, as the appliance's host knows
// them: the library never reads this file, hosts show names with it.
std::string namesIni(const World& world) {
  std::string text = "[users]\n";
  for (const User& user : world.users()) text += std::to_string(user.crc) + "=" + user.name + "\n";
  text += "\n[services]\n";
  for (const Service& service : services()) {
    text += std::to_string(labelCrc(service.name)) + "=" + std::string(service.name) + "\n";
  }
  text += "\n[apps]\n";
  for (const std::string_view app : appNames()) text += std::to_string(labelCrc(app)) + "=" + std::string(app) + "\n";
  return text;
}

// Block sizes of a field log: many small, some large, a few near the limit.
uint32_t drawBlockTarget(Rng& rng, uint32_t maxBlock) {
  const uint32_t roll = rng.below(100);
  const uint32_t high = roll < 35 ? 32u << 10 : roll < 85 ? 512u << 10 : maxBlock;
  const uint32_t low = roll < 35 ? 1u << 10 : roll < 85 ? 32u << 10 : 512u << 10;
  return rng.between(std::min(low, maxBlock), std::min(high, maxBlock));
}

void check(const Options& options) {
  if (options.users == 0 || options.groups == 0) throw std::invalid_argument("users and groups must be at least 1");
  if (options.compressedPercent > 100) throw std::invalid_argument("compressed share is a percentage");
  if (options.maxBlock < kMinBlock || options.maxBlock > (2u << 20) - (64u << 10)) {
    throw std::invalid_argument("largest block must lie between 4 KiB and 1984 KiB");
  }
  if (options.level < 1 || options.level > 9) throw std::invalid_argument("zlib level must lie between 1 and 9");
  if (options.logName.empty()) throw std::invalid_argument("log name is empty");
}

}  // namespace

std::string configIni() {
  static const char* const kFields[] = {"g1",  "g2",  "g3",   "g4",   "g5",   "g6",  "g7",      "g8",
                                        "g9",  "g10", "g11",  "g12",  "g13",  "g14", "g15",     "user",
                                        "host", "serv", "snap", "app", "private", "time", "result"};
  std::string list;
  std::string sections;
  for (const char* field : kFields) {
    const std::string name = field;
    list += (list.empty() ? "" : ",") + name;
    const char* kind = name == "time" ? "range" : name == "result" ? "ft" : "e1";
    sections += "\n[" + name + "]\nindexer=" + kind + "\n";
  }
  return "[Global]\nindexFields=" + list + "\n" + sections;
}

std::string resourceIni() {
  return "[Chinese]\nRES_MAIL_RECV_SEND=" + std::string(kResMailRecvSend) + "\nRES_HTTP_APP=" +
         std::string(kResHttpApp) + "\nRES_WEB_MAIL=" + std::string(kResWebMail) + "\nRES_MAIL=" +
         std::string(kResMail) + "\n";
}

Summary generate(const Options& options, const std::string& dir) {
  check(options);
  Clock clock;
  if (!clock.set(options.start)) throw std::invalid_argument("start time must read YYYY/MM/DD hh:mm:ss");
  std::filesystem::create_directories(dir);
  const World world(options.seed, options.groups, options.users);
  writeText(dir + "/groups.ini", groupsIni(world));
  writeText(dir + "/resource.ini", resourceIni());
  writeText(dir + "/config.ini", configIni());
  writeText(dir + "/names.ini", namesIni(world));

  Summary summary;
  summary.logPath = dir + "/" + options.logName;
  std::ofstream log(summary.logPath, std::ios::binary | std::ios::trunc);
  if (!log) throw std::runtime_error("cannot write " + summary.logPath);
  std::unique_ptr<std::ofstream> truth;
  if (options.truth) {
    summary.truthPath = summary.logPath + ".truth";
    truth = std::make_unique<std::ofstream>(summary.truthPath, std::ios::binary | std::ios::trunc);
    if (!*truth) throw std::runtime_error("cannot write " + summary.truthPath);
    writeTruthHead(*truth);
  }

  Rng rng(options.seed);
  FrameMaker maker(world, rng, clock);
  LogWriter writer(log, options.level, clock.epochSeconds());
  std::vector<uint8_t> raw;
  raw.reserve(options.maxBlock);
  std::vector<TruthFrame> frames;
  while (options.blocks != 0 ? summary.blocks.size() < options.blocks : writer.offset() < options.bytes) {
    const uint32_t target = drawBlockTarget(rng, options.maxBlock);
    // Now and then a block holds nothing but hidden frames.
    const uint32_t hiddenOnly = rng.percent(1) ? rng.between(1, 3) : 0;
    raw.clear();
    size_t count = 0;
    while (hiddenOnly != 0 ? count < hiddenOnly : raw.size() < target) {
      if (frames.size() <= count) frames.emplace_back();
      const size_t before = raw.size();
      maker.make(hiddenOnly != 0 ? FrameKind::Hidden : maker.drawKind(), raw, frames[count]);
      if (raw.size() > options.maxBlock && count != 0) {
        raw.resize(before);
        break;
      }
      ++count;
    }
    const bool compressed = rng.percent(options.compressedPercent);
    const uint64_t offset = writer.offset();
    const LogBlockHeader header =
        writer.addBlock(raw.data(), static_cast<uint32_t>(raw.size()), compressed,
                        static_cast<uint32_t>(summary.blocks.size() + 1), static_cast<uint32_t>(count),
                        maker.epochSeconds());
    const TruthBlock block{offset, writer.offset(), header.sliceTag, compressed, header.rawSize,
                           static_cast<uint32_t>(count)};
    summary.blocks.push_back(block);
    if (truth) writeTruthBlock(*truth, block);
    int32_t ordinal = 0;
    for (size_t i = 0; i < count; ++i) {
      TruthFrame& frame = frames[i];
      const bool hidden = frame.type == body::kHiddenType && frame.privateMark == body::kHiddenMark;
      frame.blockOffset = offset;
      frame.ordinal = hidden ? -1 : ordinal++;
      summary.hidden += hidden ? 1 : 0;
      if (truth) writeTruthFrame(*truth, frame);
    }
    summary.frames += count;
  }
  log.close();
  if (!log) throw std::runtime_error("writing " + summary.logPath + " failed");
  if (truth) {
    truth->close();
    if (!*truth) throw std::runtime_error("writing " + summary.truthPath + " failed");
  }
  summary.bytes = writer.offset();
  return summary;
}

}  // namespace quern::qvloggen
