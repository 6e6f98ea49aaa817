// Seed inputs for the harnesses, made with the library's own writers so that
// the fuzzers start from well-formed files: seeds DIR writes DIR/<harness>/.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "codec/sfwahvector.h"
#include "intake/qvlogreader.h"
#include "kinds/e1indexer.h"
#include "kinds/ftindexer.h"
#include "kinds/rangeindexer.h"
#include "qvloggen/qvloggen.h"
#include "qvloggen/vocabulary.h"
#include "qvloggen/world.h"
#include "storage/outputdesc.h"

namespace fs = std::filesystem;
using namespace quern;

namespace {

// A bitmap of two segments with fills, literals and the compact forms.
void bitmapSeed(const fs::path& dir) {
  SFWAHVector vector(nullptr);
  SFWAHEncoder& encoder = *vector.encoder();
  for (uint32_t segment = 0; segment < 2; ++segment) {
    for (uint32_t gap : {0u, 5u, 40u, 900u, 31u, 3u}) {
      encoder.appendZeros(gap);
      encoder.appendOnes(1 + gap % 70);
    }
    encoder.appendZeros(17);
    encoder.finish();
    vector.chunks()->closeSegment();
  }
  COutputDesc out(std::make_unique<CFileOutput>((dir / "two-segments").string().c_str()));
  vector.chunks()->writeTo(&out);
}

// Seven records of an E1 or a Range field: the two kinds' files share their layout.
template <typename Indexer>
void fieldSeed(const fs::path& file) {
  Indexer indexer(nullptr);
  for (const char* value : {"alpha", "beta", "alpha", "gamma", "beta", "alpha", "delta"}) {
    indexer.add(value, static_cast<uint32_t>(std::char_traits<char>::length(value)));
  }
  COutputDesc out(std::make_unique<CFileOutput>(file.string().c_str()));
  indexer.write(&out);
}

// A small generated log, its INI files, and its first block inflated.
void logSeeds(const fs::path& root) {
  const fs::path scratch = root / "log";
  qvloggen::Options options;
  options.blocks = 3;
  options.maxBlock = 24u << 10;
  options.truth = false;
  const qvloggen::Summary summary = qvloggen::generate(options, scratch.string());
  fs::copy_file(summary.logPath, root / "qvlog" / "three-blocks.qvlog");
  fs::copy_file(scratch / "config.ini", root / "ini" / "config.ini");
  fs::copy_file(scratch / "groups.ini", root / "ini" / "groups.ini");
  CQvlogReader reader(summary.logPath.c_str());
  LogBlockHeader header;
  if (CQvlogIterator* frames = reader.ReadBlock(&header, 1)) {
    std::ofstream(root / "frames" / "block", std::ios::binary)
        .write(reinterpret_cast<const char*>(CQvlogReader::blockBuffer()), frames->total());
  }
  fs::remove_all(scratch);
}

// Query files of every key, with values the harness's index holds (the same
// generated log as above).
void querySeeds(const fs::path& dir) {
  qvloggen::Options options;
  const qvloggen::World world(options.seed, options.groups, options.users);
  const qvloggen::User& user = world.users().front();
  const std::string head = "[filter]\ncancel = never\nlimit = 10\ntime = 2026/11/22 10:00:00-2026/11/22 12:00:00\n";
  const std::pair<const char*, std::string> seeds[] = {
      {"user", head + "user = " + user.name + "\nsnap = 0\nprivate = 0\n"},
      {"groups", head + "group = " + world.groups().front().path + "\t" + world.groups().back().path + "\n"},
      {"hosts", head + "host = 10.0.0.0-192.168.255.255\napp = x\n"},
      {"mail", head + "serv = " + std::string(qvloggen::kResMailRecvSend) + "\n"},
      {"result", head + "result = a\bb\tc\n"},
      {"count", "[filter]\ncancel = never\nlimit = 0\ntime = 2026/11/22 10:00:00\n"},
  };
  for (const auto& [name, text] : seeds) std::ofstream(dir / name, std::ios::binary) << text;
}

void fullTextSeed(const fs::path& dir) {
  FtIndexer indexer(nullptr);
  for (const char* text : {"alpha beta", "beta alpha beta gamma", "[mirtoks]", "会议 alpha", "beta"}) {
    indexer.add(text, static_cast<uint32_t>(std::char_traits<char>::length(text)));
  }
  COutputDesc out(std::make_unique<CFileOutput>((dir / "five-records.ft").string().c_str()));
  indexer.write(&out);
}

// Texts of every kind the cutter tells apart.
void textSeed(const fs::path& dir) {
  std::ofstream(dir / "mixed", std::ios::binary)
      << "Please confirm the Q3 report 2026/11/22 会议报告 カタカナ 한국어 naïve \xFF\xC0\xAF\xED\xA0\x80 [mirtoks]";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_seeds DIR\n");
    return 2;
  }
  const fs::path root = argv[1];
  for (const char* harness : {"bitmap", "e1file", "rangefile", "frames", "qvlog", "ini", "query", "wordcleave",
                              "ftfile"}) {
    fs::create_directories(root / harness);
  }
  bitmapSeed(root / "bitmap");
  fieldSeed<E1Indexer>(root / "e1file" / "seven-records.e1");
  fieldSeed<RangeIndexer>(root / "rangefile" / "seven-records.range");
  logSeeds(root);
  querySeeds(root / "query");
  textSeed(root / "wordcleave");
  fullTextSeed(root / "ftfile");
  return 0;
}
