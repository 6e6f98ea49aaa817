// Query latency through the C exports, as a host sees it, on an index of
// about a million generated records, with the shipped configuration (`time`
// a Range field, `result` full text). Per shape: the count alone, and the count with
// the newest 100 rows and their texts; each on a cached searcher (the
// directory's files open since the last call) and on a fresh one (the cache
// cleared before every query). Every query starts and stops its cancel
// watcher; BM_CancelWatcher gives that part alone. Rows are fetched with no
// block of theirs in hand; "blocks" counts the blocks they lie in. The
// query of every clause is drawn from one record, so that it matches.
//
// The corpus is built once into <temp>/quern-bench-search-<MiB>M-shipped/
// and kept for later runs (QUERN_BENCH_SMOKE=1: a tiny one).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "base/cancel.h"
#include "benchsize.h"
#include "config/config.h"
#include "frame/indexrun.h"
#include "index/fieldsinfo.h"
#include "index/index.h"
#include "intake/collector.h"
#include "intake/framereader.h"
#include "intake/frameview.h"
#include "intake/qvlogreader.h"
#include "kinds/rangeindexreader.h"
#include "qvloggen/qvloggen.h"
#include "qvloggen/vocabulary.h"
#include "qvloggen/world.h"
#include "quern.h"
#include "storage/crc.h"
#include "storage/endian.h"

namespace {

namespace fs = std::filesystem;
using namespace quern;

// Generated records per MiB of log, near enough to size the log.
constexpr uint64_t kRecordsPerMiB = 3500;

struct Corpus {
  Corpus() {
    options.bytes = bench::scaled(1050000, 2000) / kRecordsPerMiB * (1u << 20) + (1u << 20);
    options.truth = false;
    dir = fs::temp_directory_path() / ("quern-bench-search-" + std::to_string(options.bytes >> 20) + "M-shipped");
    const bool ready = fs::exists(dir / "ready");
    if (!ready) {
      fs::remove_all(dir);
      qvloggen::generate(options, dir.string());
    }
    fs::current_path(dir);
    logPath = (dir / options.logName).string();
    if (!ready) {
      fs::create_directory("index");
      std::ofstream("index.run") << "[In]\npath=" << logPath << "\nbegin=0\nend=" << fs::file_size(logPath)
                                 << "\n[Out]\ndir=index\n[Global]\nmaxIndexMemory=1500000000\ncacheValueSize=4096\n";
      RunIndex("index.run");
      std::ofstream("ready") << "";
    }
    IndexReader reader("index/");
    reader.loadSummary();
    records = reader.recordCount();
    const auto& times = dynamic_cast<RangeIndexReader&>(*reader.fieldReader("time"));
    firstTime = std::string(times.value(0));
    lastTime = std::string(times.value(times.valueCount() - 1));
    const std::string middle(times.value(times.valueCount() / 2));
    day = middle.substr(0, 10);
    hour = middle.substr(0, 13);
  }

  ~Corpus() {
    // Only the full corpus is worth keeping for the next run.
    if (!bench::smokeRun()) return;
    fs::current_path(fs::temp_directory_path());
    fs::remove_all(dir);
  }

  qvloggen::Options options;
  fs::path dir;
  std::string logPath;
  std::string indexDir = "index/";
  uint32_t records = 0;
  std::string firstTime, lastTime, day, hour;  // "YYYY/MM/DD", "YYYY/MM/DD hh"
};

Corpus& corpus() {
  static Corpus c;
  return c;
}

std::string dayWindow() { return corpus().day + " 00:00:00-" + corpus().day + " 23:59:59"; }

// Runs a query of `keys` on the corpus; the count.
int countOf(const std::string& keys, int limit) {
  std::ofstream("probe.ini") << "[filter]\ncancel = cancel-never\nlimit = " << limit << "\n" << keys << "\n";
  return qrn_indexer_query(corpus().indexDir.c_str(), "probe.ini");
}

// Every clause at once, all of them true of one record of `user`: its mail
// in the day window, with the record's application, private mark, snap and
// a phrase of its searchable text (the first words of its first value).
std::string everyClause(const qvloggen::User& user, const std::string& group) {
  std::string keys = "user = " + user.name + "\ngroup = " + group + "\nhost = " + user.host.text + "\nserv = " +
                     std::string(qvloggen::kResMailRecvSend) + "\ntime = " + dayWindow();
  const int count = countOf(keys, 20);
  static const CResultReader searchable;
  std::vector<uint8_t> text(kLogBufferSize);
  for (int i = 0; i < count && i < 20; ++i) {
    const std::string locator = qrn_indexer_row(corpus().indexDir.c_str(), static_cast<unsigned>(i));
    const size_t colon = locator.find(':');
    CQvlogReader log(corpus().logPath.c_str());
    log.Open();
    log.input()->seek(std::stoll(locator.substr(colon + 1)));
    LogBlockHeader header;
    CQvlogIterator* frames = log.ReadBlock(&header, 1);
    FrameHeader frameHeader;
    const uint8_t* body = nullptr;
    for (int ordinal = std::stoi(locator.substr(locator.find(':', colon + 1) + 1)); ordinal >= 0; --ordinal) {
      body = frames != nullptr ? nextRecordFrame(*frames, frameHeader) : nullptr;
    }
    FrameView frame;
    if (body == nullptr || !frame.load(frameHeader, body)) continue;
    searchable.Read(frame.payload(), frame.payloadSize(), text.data(), static_cast<uint32_t>(text.size()));
    const std::string whole(reinterpret_cast<const char*>(text.data()) + 4, loadLE32(text.data()));
    // Up to three blank-separated pieces of the first value: words side by
    // side in the record, on one line of a query file.
    std::string result;
    for (size_t at = 0, pieces = 0; at < whole.size() && pieces < 3; ++pieces) {
      const size_t stop = std::min(whole.find(' ', at), whole.find(kResultSeparator, at));
      result += (result.empty() ? "" : " ") + whole.substr(at, stop - at);
      if (stop == std::string::npos || whole[stop] != ' ') break;
      at = stop + 1;
    }
    if (result.find_first_of("\t\b\r\n") != std::string::npos || result.empty() || result[0] == ' ') continue;
    std::string app;
    static const CCrc crc;
    for (const qvloggen::Service& service : qvloggen::services()) {
      for (std::string_view name : service.apps) {
        if (crc.compute(name.data(), static_cast<uint32_t>(name.size())) == frame.u32(body::kAppCrc)) app = name;
      }
    }
    const std::string all = keys + "\napp = " + app + "\nprivate = " + std::to_string(frame.u32(body::kPrivateMark)) +
                            "\nresult = " + result + "\nsnap = " + (frame.snapText().empty() ? "0" : "1");
    if (countOf(all, 0) > 0) return all;
  }
  return keys;
}

// The query shapes, as [filter] keys besides cancel and limit.
std::vector<std::pair<std::string, std::string>> shapes() {
  const Corpus& c = corpus();
  const qvloggen::World world(c.options.seed, c.options.groups, c.options.users);
  const qvloggen::User& user = world.users()[std::min<size_t>(20, world.users().size() - 1)];
  const std::string& path = world.groups()[user.group >= 0 ? static_cast<size_t>(user.group) : 0].path;
  const std::string top = path.substr(0, path.find('/', 1));
  const std::string mail(qvloggen::kResMailRecvSend);
  return {
      {"TimeWholeIndex", "time = " + c.firstTime + "-" + c.lastTime},
      {"TimeHour", "time = " + c.hour + ":00:00-" + c.hour + ":59:59"},
      {"UserDay", "user = " + user.name + "\ntime = " + dayWindow()},
      {"GroupSubtreeDay", "group = " + top + "\ntime = " + dayWindow()},
      {"AddressRangeDay", "host = 10.0.0.0-10.63.255.255\ntime = " + dayWindow()},
      {"MailDay", "serv = " + mail + "\ntime = " + dayWindow()},
      {"EveryClauseDay", everyClause(user, path)},
  };
}

// The newest `rows` rows with their texts; gives the blocks they lie in.
uint32_t fetchRows(int count, int rows) {
  std::set<unsigned long long> blocks;
  for (int i = 0; i < count && i < rows; ++i) {
    const std::string locator = qrn_indexer_row(corpus().indexDir.c_str(), static_cast<unsigned>(i));
    const size_t colon = locator.find(':');
    const unsigned long long offset = std::stoull(locator.substr(colon + 1));
    const int ordinal = std::stoi(locator.substr(locator.find(':', colon + 1) + 1));
    blocks.insert(offset);
    benchmark::DoNotOptimize(qrn_indexer_row_result(corpus().logPath.c_str(), offset, ordinal));
  }
  return static_cast<uint32_t>(blocks.size());
}

void runQuery(benchmark::State& state, const std::string& keys, int rows, bool fresh) {
  const std::string file = "query-" + std::to_string(rows) + ".ini";
  std::ofstream(file) << "[filter]\ncancel = cancel-never\nlimit = " << rows << "\n" << keys << "\n";
  const std::string& dir = corpus().indexDir;
  int count = qrn_indexer_query(dir.c_str(), file.c_str());
  if (count < 0) {
    state.SkipWithError(qrn_indexer_error());
    return;
  }
  uint32_t blocks = 0;
  for (auto _ : state) {
    if (fresh || rows != 0) {
      state.PauseTiming();
      if (fresh) qrn_searcher_clear();
      // A block none of the rows lies in, so that theirs are read anew.
      if (rows != 0) qrn_indexer_row_result(corpus().logPath.c_str(), 28, 0);
      state.ResumeTiming();
    }
    count = qrn_indexer_query(dir.c_str(), file.c_str());
    if (rows != 0) blocks = fetchRows(count, rows);
  }
  state.counters["matches"] = count;
  if (rows != 0) state.counters["blocks"] = blocks;
}

void BM_CancelWatcher(benchmark::State& state) {
  for (auto _ : state) {
    Canceler canceler;
    benchmark::DoNotOptimize(canceler.IsCancelled());
  }
}
BENCHMARK(BM_CancelWatcher)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  std::printf("corpus: %u records in %s\n", corpus().records, corpus().dir.string().c_str());
  for (const auto& [name, keys] : shapes()) {
    for (const bool fresh : {false, true}) {
      for (const int rows : {0, 100}) {
        const std::string title = "BM_" + name + (rows == 0 ? "/Count" : "/Newest100") + (fresh ? "/Fresh" : "/Cached");
        benchmark::RegisterBenchmark(title.c_str(), [keys = keys, rows, fresh](benchmark::State& state) {
          runQuery(state, keys, rows, fresh);
        })->Unit(benchmark::kMillisecond);
      }
    }
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
