// Full text against SQLite FTS5 (a contentless table, detail=full, no column
// sizes: Quern keeps neither texts nor sizes) and Xapian (glass, with
// positions), in the same run, one thread: the searchable texts of 1,000,000
// generated records (2,000 in a smoke run) are indexed by each, then the
// same phrases are counted, and counted with the newest 100 ids, by each.
//
// The texts are what the collector makes of the generator's frames. Every
// CJK character is set apart by blanks first, for all three, so that FTS5's
// unicode61 tokenizer and Xapian's term generator cut them into the words
// the word cutter makes (one word per character; the generator writes no
// other non-ASCII letters). Quern's results are checked against both peers.
//
// Build reports records per second of each (FTS5: inserts and commit; its
// merge into one segment, `optimize`, and VACUUM come after, untimed) and
// the index sizes on disk: FTS5's after optimize and VACUUM, and beside it
// the size of a table that keeps the column sizes, as FTS5 does by default.
// Each phrase benchmark times Quern per iteration and reports the peers'
// times beside it; "ratio" counters are Quern's time (or size) over the
// peer's, so below 1 means Quern is faster (or smaller).
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <xapian.h>

#include <algorithm>
#include <cmath>
#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <unistd.h>

#include "base/cancel.h"
#include "benchsize.h"
#include "codec/sfwahcount.h"
#include "codec/sfwahtop.h"
#include "intake/framereader.h"
#include "intake/qvlogformat.h"
#include "kinds/ftindexer.h"
#include "kinds/ftformat.h"
#include "kinds/ftindexreader.h"
#include "rowrender/payload.h"
#include "qvloggen/framemaker.h"
#include "qvloggen/truthquery.h"
#include "storage/endian.h"
#include "storage/outputdesc.h"

namespace quern {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

double seconds(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

// ---- the texts ------------------------------------------------------------

bool cjkLead(unsigned char c) { return c >= 0xE3 && c <= 0xE9; }  // U+3000 to U+9FFF

// The payload's searchable text, CJK characters set apart by blanks.
std::string recordText(const qvloggen::TruthFrame& frame) {
  std::string payload;
  for (const auto& [key, value] : frame.items) {
    const size_t at = payload.size();
    payload.resize(at + rowrender::itemSize(key, value));
    rowrender::putItem(reinterpret_cast<uint8_t*>(payload.data() + at), key, value);
  }
  static const CResultReader reader;
  static std::vector<uint8_t> out(1u << 20);
  reader.Read(payload.data(), static_cast<uint32_t>(payload.size()), out.data(), static_cast<uint32_t>(out.size()));
  const std::string_view text(reinterpret_cast<const char*>(out.data()) + 4, loadLE32(out.data()));
  std::string spaced;
  for (size_t i = 0; i < text.size(); ++i) {
    if (cjkLead(static_cast<unsigned char>(text[i])) && i + 3 <= text.size()) {
      spaced += ' ';
      spaced += text.substr(i, 3);
      spaced += ' ';
      i += 2;
    } else {
      spaced += text[i];
    }
  }
  return spaced;
}

struct Corpus {
  std::vector<std::string> texts;  // record id - 1
};

const Corpus& corpus() {
  static const Corpus made = [] {
    Corpus corpus;
    const auto records = static_cast<size_t>(bench::scaled(1000000, 2000));
    const qvloggen::World world(1, 60, 400);
    qvloggen::Rng rng(1);
    qvloggen::Clock start;
    start.set("2026/11/22 10:00:00");
    qvloggen::FrameMaker maker(world, rng, start);
    std::vector<uint8_t> raw;
    corpus.texts.reserve(records);
    while (corpus.texts.size() < records) {
      qvloggen::TruthFrame frame;
      raw.clear();
      maker.make(maker.drawKind(), raw, frame);
      const bool hidden = frame.type == body::kHiddenType && frame.privateMark == body::kHiddenMark;
      if (!hidden && frameLayout(frame.type) != nullptr) corpus.texts.push_back(recordText(frame));
    }
    return corpus;
  }();
  return made;
}

// ---- the phrases -------------------------------------------------------------

struct Phrase {
  std::string name;
  std::vector<std::string> words;
  std::string text() const {
    std::string joined;
    for (const std::string& word : words) joined += (joined.empty() ? "" : " ") + word;
    return joined;
  }
};

// Chosen from the corpus's counts of word pairs and triples: the most
// frequent pair; a pair that occurs about 10 times; a triple that occurs in
// about 1% of the records; the most frequent pair of two CJK characters; and
// two of the most frequent words in an order that never occurs.
std::vector<Phrase> choosePhrases() {
  std::unordered_map<std::string, uint32_t> ids;
  std::vector<std::string> names;
  std::unordered_map<uint64_t, uint32_t> pairs, triples, singles;
  for (const std::string& text : corpus().texts) {
    std::vector<uint32_t> words;
    for (const std::string& word : qvloggen::truthWords(text)) {
      const auto [it, added] = ids.try_emplace(word, static_cast<uint32_t>(names.size()));
      if (added) names.push_back(word);
      words.push_back(it->second);
    }
    for (size_t i = 0; i < words.size(); ++i) {
      ++singles[words[i]];
      if (i + 1 < words.size()) ++pairs[uint64_t{words[i]} << 32 | words[i + 1]];
      // Triples of ids below 2^21 each, which the vocabulary's words are.
      if (i + 2 < words.size() && std::max({words[i], words[i + 1], words[i + 2]}) < (1u << 21)) {
        ++triples[uint64_t{words[i]} << 42 | uint64_t{words[i + 1]} << 21 | words[i + 2]];
      }
    }
  }
  // The key whose count is nearest `target` (the largest count for a
  // negative target) among those `keep` takes.
  const auto closest = [](const std::unordered_map<uint64_t, uint32_t>& counts, double target, auto&& keep) {
    uint64_t best = 0;
    double distance = 0;
    bool found = false;
    for (const auto& [key, count] : counts) {
      const double d = target < 0 ? -static_cast<double>(count) : std::abs(static_cast<double>(count) - target);
      if (keep(key) && (!found || d < distance)) {
        distance = d;
        best = key;
        found = true;
      }
    }
    return best;
  };
  const auto word = [&](uint64_t id) { return names[static_cast<size_t>(id)]; };
  // The separator that ends each value of a text is a word of every record;
  // phrases with it say little, so none is chosen.
  const auto plain = [&](uint64_t id) { return word(id) != "mirtoks"; };
  const auto any = [&](uint64_t key) { return plain(key >> 32) && plain(key & 0xFFFFFFFF); };
  const auto pair = [&](uint64_t key) { return std::vector<std::string>{word(key >> 32), word(key & 0xFFFFFFFF)}; };
  const double records = static_cast<double>(corpus().texts.size());
  std::vector<Phrase> phrases;
  phrases.push_back({"FrequentPair", pair(closest(pairs, -1, any))});
  phrases.push_back({"RarePair", pair(closest(pairs, 10, any))});
  const uint64_t triple = closest(triples, records / 100, [&](uint64_t key) {
    return plain(key >> 42) && plain(key >> 21 & 0x1FFFFF) && plain(key & 0x1FFFFF);
  });
  phrases.push_back({"Triple", {word(triple >> 42), word(triple >> 21 & 0x1FFFFF), word(triple & 0x1FFFFF)}});
  const auto cjk = [&](uint64_t key) {
    return cjkLead(static_cast<unsigned char>(word(key >> 32)[0])) &&
           cjkLead(static_cast<unsigned char>(word(key & 0xFFFFFFFF)[0]));
  };
  phrases.push_back({"ChinesePair", pair(closest(pairs, -1, cjk))});
  std::vector<std::pair<uint32_t, uint64_t>> frequent;
  for (const auto& [id, count] : singles) {
    if (plain(id)) frequent.emplace_back(count, id);
  }
  std::sort(frequent.rbegin(), frequent.rend());
  for (size_t a = 0; a < frequent.size() && phrases.size() < 5; ++a) {
    for (size_t b = 0; b < a && phrases.size() < 5; ++b) {
      for (const auto& [x, y] : {std::pair{frequent[a].second, frequent[b].second},
                                 std::pair{frequent[b].second, frequent[a].second}}) {
        if (phrases.size() < 5 && pairs.count(x << 32 | y) == 0) phrases.push_back({"Absent", {word(x), word(y)}});
      }
    }
  }
  return phrases;
}

const std::vector<Phrase>& phrases() {
  static const std::vector<Phrase> chosen = choosePhrases();
  return chosen;
}

// ---- the three indexes ---------------------------------------------------------

void check(int code, sqlite3* db, const char* what) {
  if (code != SQLITE_OK && code != SQLITE_DONE && code != SQLITE_ROW) {
    throw std::runtime_error(std::string(what) + ": " + sqlite3_errmsg(db));
  }
}

uint64_t treeBytes(const fs::path& path) {
  if (fs::is_regular_file(path)) return fs::file_size(path);
  uint64_t bytes = 0;
  for (const auto& entry : fs::recursive_directory_iterator(path)) {
    if (entry.is_regular_file()) bytes += entry.file_size();
  }
  return bytes;
}

struct Indexes {
  static double since(Clock::time_point from) { return seconds(from, Clock::now()); }

  Indexes() : dir(fs::temp_directory_path() / ("quern-bench-ft-" + std::to_string(getpid()))) {
    fs::remove_all(dir);
    fs::create_directories(dir);
    Canceler::setCurrent(&canceler);
    buildQuern();
    buildFts5();
    buildXapian();
  }
  ~Indexes() {
    Canceler::setCurrent(nullptr);
    quern.reset();
    sqlite3_close(fts5);
    xapian.reset();
    fs::remove_all(dir);
  }

  void buildQuern() {
    const std::string path = (dir / "result.ft").string();
    const auto start = Clock::now();
    {
      FtIndexer indexer(nullptr);
      for (const std::string& text : corpus().texts) indexer.add(text.data(), static_cast<uint32_t>(text.size()));
      COutputDesc out(std::make_unique<CFileOutput>(path.c_str()));
      indexer.write(&out);
      quernTerms = indexer.termCount();
    }
    quernSeconds = seconds(start, Clock::now());
    quernBytes = treeBytes(path);
    quern = std::make_unique<FtIndexReader>(path.c_str());
  }

  // The table the queries use, and beside it, for its size alone, one with
  // FTS5's defaults but for the content (so with the column sizes kept).
  void buildFts5() {
    fts5 = fillFts5((dir / "fts5.db").string(), "content='', columnsize=0, detail=full", fts5Seconds,
                    fts5BuiltBytes, fts5Bytes);
    check(sqlite3_prepare_v2(fts5, "SELECT count(*) FROM t WHERE t MATCH ?", -1, &fts5Count, nullptr), fts5, "count");
    check(sqlite3_prepare_v2(fts5, "SELECT rowid FROM t WHERE t MATCH ? ORDER BY rowid DESC", -1, &fts5Rows, nullptr),
          fts5, "rows");
    double seconds = 0;
    uint64_t built = 0;
    sqlite3_close(fillFts5((dir / "fts5-sizes.db").string(), "content=''", seconds, built, fts5SizesBytes));
    fs::remove(dir / "fts5-sizes.db");
  }

  // Inserts every text in one transaction (timed into `seconds`), then
  // merges the segments into one and vacuums; gives the open database.
  static sqlite3* fillFts5(const std::string& path, const char* options, double& seconds, uint64_t& builtBytes,
                           uint64_t& bytes) {
    sqlite3* db = nullptr;
    check(sqlite3_open(path.c_str(), &db), db, "open");
    const auto exec = [&](const std::string& sql) {
      check(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), db, sql.c_str());
    };
    exec("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;");
    exec(std::string("CREATE VIRTUAL TABLE t USING fts5(body, ") + options + ")");
    const auto start = Clock::now();
    exec("BEGIN");
    sqlite3_stmt* insert = nullptr;
    check(sqlite3_prepare_v2(db, "INSERT INTO t(rowid, body) VALUES(?, ?)", -1, &insert, nullptr), db, "prepare");
    for (size_t i = 0; i < corpus().texts.size(); ++i) {
      const std::string& text = corpus().texts[i];
      sqlite3_bind_int64(insert, 1, static_cast<sqlite3_int64>(i + 1));
      sqlite3_bind_text(insert, 2, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
      check(sqlite3_step(insert), db, "insert");
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    exec("COMMIT");
    seconds = since(start);
    builtBytes = treeBytes(path);
    exec("INSERT INTO t(t) VALUES('optimize')");
    exec("VACUUM");
    bytes = treeBytes(path);
    return db;
  }

  void buildXapian() {
    const std::string path = (dir / "xapian").string();
    const auto start = Clock::now();
    {
      Xapian::WritableDatabase db(path, Xapian::DB_CREATE_OR_OVERWRITE | Xapian::DB_BACKEND_GLASS);
      Xapian::TermGenerator generator;
      for (const std::string& text : corpus().texts) {
        Xapian::Document document;
        generator.set_document(document);
        generator.index_text(text);
        db.add_document(document);
      }
      db.commit();
    }
    xapianSeconds = seconds(start, Clock::now());
    xapianBytes = treeBytes(path);
    xapian = std::make_unique<Xapian::Database>(path);
  }

  fs::path dir;
  Canceler canceler{60000};  // never named a file: never cancels
  std::unique_ptr<FtIndexReader> quern;
  sqlite3* fts5 = nullptr;
  sqlite3_stmt* fts5Count = nullptr;
  sqlite3_stmt* fts5Rows = nullptr;
  std::unique_ptr<Xapian::Database> xapian;
  double quernSeconds = 0, fts5Seconds = 0, xapianSeconds = 0;
  uint32_t quernTerms = 0;
  uint64_t quernBytes = 0, fts5BuiltBytes = 0, fts5Bytes = 0, fts5SizesBytes = 0, xapianBytes = 0;
};

Indexes& indexes() {
  static Indexes built;
  return built;
}

// ---- one phrase, three ways: the count and, with `top`, the newest ids ------

struct Answer {
  uint64_t count = 0;
  std::vector<uint32_t> newest;
  bool operator==(const Answer&) const = default;
};

Answer quernAnswer(const Phrase& phrase, uint32_t top) {
  const std::string text = phrase.text();
  Answer answer;
  std::unique_ptr<SFWAHVector> found = indexes().quern->search(text.data(), static_cast<uint32_t>(text.size()));
  if (!found) return answer;
  if (top == 0) {
    answer.count = SFWAHCount(found.get()).run();
    return answer;
  }
  uint32_t total = 0;
  std::unique_ptr<CRingQueue> queue = SFWAHTop(found.get(), top).run(&total);
  answer.count = total;
  while (queue->size() != 0) answer.newest.push_back(queue->pop());
  return answer;
}

Answer fts5Answer(const Phrase& phrase, uint32_t top) {
  const std::string match = "\"" + phrase.text() + "\"";
  sqlite3_stmt* statement = top == 0 ? indexes().fts5Count : indexes().fts5Rows;
  sqlite3_bind_text(statement, 1, match.data(), static_cast<int>(match.size()), SQLITE_TRANSIENT);
  Answer answer;
  while (sqlite3_step(statement) == SQLITE_ROW) {
    if (top == 0) {
      answer.count = static_cast<uint64_t>(sqlite3_column_int64(statement, 0));
      continue;
    }
    if (answer.count++ < top) answer.newest.push_back(static_cast<uint32_t>(sqlite3_column_int64(statement, 0)));
  }
  sqlite3_reset(statement);
  return answer;
}

Answer xapianAnswer(const Phrase& phrase, uint32_t top) {
  const Xapian::Database& db = *indexes().xapian;
  Xapian::Enquire enquire(db);
  enquire.set_query(Xapian::Query(Xapian::Query::OP_PHRASE, phrase.words.begin(), phrase.words.end(),
                                  static_cast<Xapian::termcount>(phrase.words.size())));
  enquire.set_weighting_scheme(Xapian::BoolWeight());
  enquire.set_docid_order(Xapian::Enquire::DESCENDING);
  // Checking every document makes the count exact.
  const Xapian::MSet matches = enquire.get_mset(0, top, db.get_doccount());
  Answer answer;
  answer.count = matches.get_matches_estimated();
  for (Xapian::MSetIterator it = matches.begin(); it != matches.end(); ++it) answer.newest.push_back(*it);
  return answer;
}

template <typename Answerer>
double timed(Answerer answerer, const Phrase& phrase, uint32_t top, Answer& answer) {
  const auto start = Clock::now();
  answer = answerer(phrase, top);
  return seconds(start, Clock::now());
}

void phraseBenchmark(benchmark::State& state, const Phrase& phrase, uint32_t top) {
  indexes();
  double quern = 0, fts5 = 0, xapian = 0;
  Answer ours, theirs, xapians;
  for (auto _ : state) {
    const double time = timed(quernAnswer, phrase, top, ours);
    state.SetIterationTime(time);
    quern += time;
    fts5 += timed(fts5Answer, phrase, top, theirs);
    xapian += timed(xapianAnswer, phrase, top, xapians);
  }
  if (!(ours == theirs) || !(ours == xapians)) {
    state.SkipWithError(("answers differ: quern " + std::to_string(ours.count) + ", fts5 " +
                         std::to_string(theirs.count) + ", xapian " + std::to_string(xapians.count))
                            .c_str());
    return;
  }
  const double n = static_cast<double>(state.iterations());
  state.counters["matches"] = static_cast<double>(ours.count);
  state.counters["fts5_us"] = fts5 * 1e6 / n;
  state.counters["xapian_us"] = xapian * 1e6 / n;
  state.counters["ratio_fts5"] = quern / fts5;
  state.counters["ratio_xapian"] = quern / xapian;
}

void registerAll() {
  benchmark::RegisterBenchmark("Build", [](benchmark::State& state) {
    Indexes& built = indexes();
    for (auto _ : state) state.SetIterationTime(built.quernSeconds);
    const double records = static_cast<double>(corpus().texts.size());
    state.counters["records"] = records;
    state.counters["quern_rps"] = records / built.quernSeconds;
    state.counters["fts5_rps"] = records / built.fts5Seconds;
    state.counters["xapian_rps"] = records / built.xapianSeconds;
    state.counters["time_ratio_fts5"] = built.quernSeconds / built.fts5Seconds;
    state.counters["time_ratio_xapian"] = built.quernSeconds / built.xapianSeconds;
    state.counters["quern_MB"] = static_cast<double>(built.quernBytes) / 1e6;
    // What the file's layout costs per term whatever its lists hold: the two
    // trailers of its block and its table row.
    state.counters["quern_terms"] = built.quernTerms;
    state.counters["quern_per_term_MB"] =
        static_cast<double>(built.quernTerms) *
        static_cast<double>(POSPostings::kRecordTrailer + POSPostings::kPositionTrailer + ftformat::kRowBytes) / 1e6;
    state.counters["fts5_MB"] = static_cast<double>(built.fts5Bytes) / 1e6;
    state.counters["fts5_unoptimized_MB"] = static_cast<double>(built.fts5BuiltBytes) / 1e6;
    state.counters["fts5_with_sizes_MB"] = static_cast<double>(built.fts5SizesBytes) / 1e6;
    state.counters["xapian_MB"] = static_cast<double>(built.xapianBytes) / 1e6;
    state.counters["size_ratio_fts5"] = static_cast<double>(built.quernBytes) / static_cast<double>(built.fts5Bytes);
    state.counters["size_ratio_xapian"] =
        static_cast<double>(built.quernBytes) / static_cast<double>(built.xapianBytes);
  })->UseManualTime()->Iterations(1)->Unit(benchmark::kSecond);
  for (const Phrase& phrase : phrases()) {
    for (uint32_t top : {0u, 100u}) {
      const std::string name = phrase.name + (top == 0 ? "/Count" : "/CountTop100") + "/\"" + phrase.text() + "\"";
      benchmark::RegisterBenchmark(name.c_str(), [&phrase, top](benchmark::State& state) {
        phraseBenchmark(state, phrase, top);
      })->UseManualTime()->Unit(benchmark::kMicrosecond);
    }
  }
}

}  // namespace
}  // namespace quern

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  quern::registerAll();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
