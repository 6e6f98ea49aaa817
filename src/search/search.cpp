#include "search/search.h"

#include <tuple>
#include <utility>

#include "base/cancel.h"
#include "base/exception.h"
#include "base/guard.h"
#include "codec/sfwahcount.h"
#include "codec/sfwahtop.h"
#include "config/config.h"
#include "config/resource.h"
#include "intake/collector.h"
#include "intake/framereader.h"
#include "intake/qvlogreader.h"
#include "search/efilter.h"
#include "search/mfilter.h"
#include "search/rfilter.h"
#include "search/ufilter.h"
#include "storage/address.h"
#include "storage/crc.h"
#include "storage/endian.h"
#include "storage/textutil.h"

namespace quern {

namespace {

// The user of records without a login: key 0 instead of the text's checksum.
constexpr char kTemporaryUser[] = "$\xE4\xB8\xB4\xE6\x97\xB6\xE7\x94\xA8\xE6\x88\xB7";

uint32_t crc32Of(const std::string& text) {
  static const CCrc crc;
  return crc.compute(text.data(), static_cast<uint32_t>(text.size()));
}

uint64_t crc64Of(const std::string& text) { return crc64(text.data(), static_cast<uint32_t>(text.size())); }

// An equality filter on a number in its stored form, little-endian.
template <typename T>
std::unique_ptr<Filter> equalTo(Searcher* searcher, const char* field, T value) {
  uint8_t bytes[sizeof(T)];
  storeLE(bytes, value);
  return std::make_unique<EFilter>(searcher, field, bytes, static_cast<uint32_t>(sizeof bytes));
}

// Hands `filter` to `list`; a failure raises "<what> fail, ..." and frees it.
template <typename List>
void add(List& list, std::unique_ptr<Filter> filter, const char* what) {
  raiseAs(QRN_SITE(2), what, [&] { list.addFilter(std::move(filter)); });
}

// The 16-byte form of an address; a text neither family reads fails the
// query rather than searching for an undefined value.
std::string addressOf(const std::string& text) {
  uint8_t bytes[16];
  if (addressFromText(text.c_str(), bytes) != 0) QRN_RAISE(2, "invalid host address:%s", text.c_str());
  return std::string(reinterpret_cast<const char*>(bytes), sizeof bytes);
}

// The checksums of the service labels that `serv` expands, fetched at the
// first query that names a service and kept; a failed fetch is tried again.
struct ServLabels {
  uint32_t mailRecvSend;
  uint32_t httpApp;
  uint32_t webMail;
  uint32_t mail;
};

const ServLabels& servLabels() {
  static const ServLabels labels = [] {
    const Resource& resource = Resource::instance();
    return ServLabels{resource.Crc("RES_MAIL_RECV_SEND"), resource.Crc("RES_HTTP_APP"), resource.Crc("RES_WEB_MAIL"),
                      resource.Crc("RES_MAIL")};
  }();
  return labels;
}

// The frame fetch of every searcher: the log read last, its block in the
// shared buffers, and the frames of that block before the last one fetched.
struct FrameFetch {
  std::unique_ptr<CQvlogReader> reader;
  std::string path;
  uint64_t offset = 0;  // 0: no block in hand
  CQvlogIterator* frames = nullptr;
  uint64_t blockRead = 0;  // the buffers' read count when the block came in
  std::vector<std::pair<const uint8_t*, FrameHeader>> cache;
};

FrameFetch& frameFetch() {
  static FrameFetch fetch;
  return fetch;
}

}  // namespace

Searcher::Searcher(const std::string& directory) : Searcher(directory, FieldsInfo::instance()) {}

Searcher::Searcher(const std::string& directory, const FieldsInfo& fields) {
  std::string path = directory;
  if (!path.empty() && path.back() != '/' && path.back() != '\\') path += '/';
  m_reader = std::make_unique<IndexReader>(path, fields);
  raiseAs(QRN_SITE(2), "construct Searcher", [&] { m_reader->loadSummary(); }, [&] { m_reader.reset(); });
}

uint32_t Searcher::search(const std::string& queryFile) {
  MFilter root;
  uint32_t limit = 10;
  m_queryPath = queryFile;
  m_results.clear();
  m_results.shrink_to_fit();
  if (m_reader->recordCount() == 0) {
    // Nothing to find: the query file's mistakes go unnoticed.
    QRN_TRACE(2, "record count is 0, return");
    return 0;
  }
  parseQuery(root, limit);
  std::unique_ptr<SFWAHVector> result = root.evaluate();
  if (!result) {
    QRN_TRACE(2, "record count is 0");
    return 0;
  }
  uint32_t count = 0;
  if (limit == 0) {
    count = SFWAHCount(result.get()).run();
  } else {
    std::unique_ptr<CRingQueue> newest = SFWAHTop(result.get(), limit).run(&count);
    m_results.reserve(newest->size());
    while (newest->size() != 0) m_results.push_back(newest->pop());
  }
  QRN_TRACE(1, "record count is %u", count);
  return count;
}

std::string Searcher::row(uint32_t index) const {
  if (index >= m_results.size()) {
    QRN_TRACE(3, "index is invalid, larger than m_results.size");
    return std::string();
  }
  return m_reader->store()->locator(m_results[index]);
}

// ---- the query file ---------------------------------------------------------

void Searcher::parseQuery(MFilter& root, uint32_t& limit) {
  IniFile query;
  if (query.Load(m_queryPath.c_str()) != 0) QRN_RAISE(2, "load %s failed", m_queryPath.c_str());
  const auto value = [&query](const char* key) { return std::string(configText(query, "filter", key)); };
  const std::string cancel = value("cancel");
  if (cancel.empty()) QRN_RAISE(2, "cancel path is empty");
  Canceler::current().setPath(cancel);
  QRN_TRACE(2, "set cancel file:%s", cancel.c_str());
  const std::string limitText = value("limit");
  if (limitText.empty()) QRN_RAISE(2, "search limit is empty");
  // A negative number wraps around and is caught here too.
  const uint32_t parsed = parseDecimal(limitText.c_str());
  if (parsed > kMaxLimit) QRN_RAISE(2, "search limit:%u is invalid", parsed);
  limit = parsed;
  QRN_TRACE(2, "parse limit:%u", limit);
  // The root runs its children in this order.
  parseUser(root, value("user"));
  parseGroups(root, value("group"));
  parseHost(root, value("host"));
  parseServ(root, value("serv"));
  parseApp(root, value("app"));
  parsePrivate(root, value("private"));
  parseTime(root, value("time"));
  parseResult(root, value("result"));
  parseSnap(root, value("snap"));
}

void Searcher::parseUser(MFilter& root, const std::string& value) {
  if (value.empty()) {
    QRN_TRACE(2, "parse user empty");
    return;
  }
  const uint64_t key = value == kTemporaryUser ? 0 : crc64Of(value);
  add(root, equalTo(this, "user", key), "parseUser addFilter");
  QRN_TRACE(2, "parse user:%s", value.c_str());
}

void Searcher::parseGroups(MFilter& root, const std::string& value) {
  if (value.empty() || value == "/") {
    QRN_TRACE(2, "parse groups empty, no filter");
    return;
  }
  std::vector<std::string> paths;
  split(paths, value.c_str(), '\t');
  std::unique_ptr<UFilter> anyPath;
  std::vector<std::string> pieces;
  for (const std::string& path : paths) {
    QRN_TRACE(2, "parse group :%s", path.c_str());
    split(pieces, path.c_str(), '/');
    if (pieces.empty()) continue;
    // Every level of the path must match: the records under that group.
    auto levels = std::make_unique<MFilter>();
    for (uint32_t level = 0; level < pieces.size(); ++level) parseGroup(*levels, level + 1, pieces[level]);
    if (!anyPath) anyPath = std::make_unique<UFilter>(this);
    add(*anyPath, std::move(levels), "parseGroups addFilter");
  }
  if (anyPath) add(root, std::move(anyPath), "parseGroups addFilter");
}

void Searcher::parseGroup(MFilter& path, uint32_t level, const std::string& piece) {
  const std::string field = formatText("g%u", level);
  add(path, equalTo(this, field.c_str(), crc64Of(piece)), "parseGroup addFilter");
  QRN_TRACE(2, "parse group level(%s):%s", field.c_str(), piece.c_str());
}

void Searcher::parseHost(MFilter& root, const std::string& value) {
  if (value.empty()) return;
  std::vector<std::string> ends;
  split(ends, value.c_str(), '-');
  // "-" alone names no address: refused, as it cannot mean all hosts.
  if (ends.empty()) QRN_RAISE(2, "search host is empty");
  const std::string from = addressOf(ends[0]);
  if (ends.size() == 1) {
    add(root, std::make_unique<EFilter>(this, "host", from.data(), static_cast<uint32_t>(from.size())),
        "parseHost addFilter");
  } else {
    add(root, std::make_unique<RFilter>(this, "host", from, addressOf(ends[1])), "parseHost addFilter");
  }
  QRN_TRACE(2, "parse host:%s", value.c_str());
}

void Searcher::parseServ(MFilter& root, const std::string& value) {
  if (value.empty()) return;
  const ServLabels& labels = servLabels();
  const uint32_t crc = crc32Of(value);
  if (crc != labels.mailRecvSend) {
    add(root, equalTo(this, "serv", crc), "parseServ addFilter");
    QRN_TRACE(2, "parse serv:%s", value.c_str());
    return;
  }
  // Mail in and out: web mail seen as an HTTP application, or the mail service.
  auto webMail = std::make_unique<MFilter>();
  add(*webMail, equalTo(this, "serv", labels.httpApp), "parseServ addFilter");
  add(*webMail, equalTo(this, "app", labels.webMail), "parseServ addFilter");
  auto either = std::make_unique<UFilter>(this);
  add(*either, std::move(webMail), "parseServ addFilter");
  add(*either, equalTo(this, "serv", labels.mail), "parseServ addFilter");
  add(root, std::move(either), "parseServ addFilter");
}

void Searcher::parseApp(MFilter& root, const std::string& value) {
  if (value.empty()) return;
  add(root, equalTo(this, "app", crc32Of(value)), "parseApp addFilter");
  QRN_TRACE(2, "parse app:%s", value.c_str());
}

void Searcher::parsePrivate(MFilter& root, const std::string& value) {
  if (value.empty()) return;
  add(root, equalTo(this, "private", parseSignedDecimal(value.c_str())), "parsePrivate addFilter");
  QRN_TRACE(2, "parse private:%s", value.c_str());
}

void Searcher::parseTime(MFilter& root, const std::string& value) {
  std::vector<std::string> ends;
  split(ends, value.c_str(), '-');
  // "-" alone has no end to read: refused like an empty value.
  if (ends.empty()) QRN_RAISE(2, "search time is empty");
  const std::string& to = ends.size() > 1 ? ends[1] : ends[0];
  add(root, std::make_unique<RFilter>(this, "time", ends[0], to), "parseTime addFilter");
  QRN_TRACE(2, "parse time:%s", value.c_str());
}

void Searcher::parseResult(MFilter& root, const std::string& value) {
  if (value.empty()) return;
  std::vector<std::string> alternatives;
  split(alternatives, value.c_str(), '\t');
  auto anyOf = std::make_unique<UFilter>(this);
  std::vector<std::string> phrases;
  for (const std::string& alternative : alternatives) {
    split(phrases, alternative.c_str(), '\b');
    auto allOf = std::make_unique<MFilter>();
    for (const std::string& phrase : phrases) {
      add(*allOf, std::make_unique<EFilter>(this, "result", phrase.data(), static_cast<uint32_t>(phrase.size())),
          "parseResult addFilter");
    }
    add(*anyOf, std::move(allOf), "parseResult addFilter");
  }
  add(root, std::move(anyOf), "parseResult addFilter");
  QRN_TRACE(2, "parse result:%s", value.c_str());
}

void Searcher::parseSnap(MFilter& root, const std::string& value) {
  if (value.empty()) return;
  add(root, equalTo<uint32_t>(this, "snap", parseSignedDecimal(value.c_str()) != 0 ? 1 : 0), "parseSnap addFilter");
  QRN_TRACE(2, "parse snap:%s", value.c_str());
}

// ---- rows of the log --------------------------------------------------------

std::string Searcher::fetchFrame(int exportRow, const char* path, uint64_t offset, int32_t ordinal) {
  if (path == nullptr || offset == 0 || ordinal < 0) QRN_RAISE(2, "error param");
  FrameFetch& fetch = frameFetch();
  if (!fetch.reader || fetch.path != path) {
    fetch.frames = nullptr;
    fetch.reader.reset();
    fetch.offset = 0;
    fetch.reader = std::make_unique<CQvlogReader>(path);
    fetch.path = path;
  }
  // The block in hand serves only while no reader has read another into the
  // shared buffers since.
  const bool inHand = offset == fetch.offset && fetch.blockRead == CQvlogReader::blockReads();
  if (!inHand) {
    fetch.offset = 0;
    fetch.frames = nullptr;
    fetch.cache.clear();
    if (fetch.reader->input() == nullptr) fetch.reader->Open();
    fetch.reader->input()->seek(static_cast<int64_t>(offset < kFileHeaderSize ? kFileHeaderSize : offset));
    LogBlockHeader header;
    fetch.frames = fetch.reader->ReadBlock(&header, 1);
    fetch.blockRead = CQvlogReader::blockReads();
    if (fetch.frames == nullptr) QRN_RAISE(2, "logs is null");
  }
  fetch.frames->Rewind();
  fetch.offset = offset;
  const uint8_t* body = nullptr;
  FrameHeader header{};
  if (static_cast<uint32_t>(ordinal) < fetch.cache.size()) {
    std::tie(body, header) = fetch.cache[static_cast<uint32_t>(ordinal)];
  } else {
    // Ordinals count record frames, as the collector numbered them.
    fetch.cache.clear();
    while (const uint8_t* frame = nextRecordFrame(*fetch.frames, header)) {
      if (fetch.cache.size() == static_cast<uint32_t>(ordinal)) {
        body = frame;
        break;
      }
      fetch.cache.emplace_back(frame, header);
    }
  }
  if (body == nullptr) {
    QRN_TRACE(3, "not found frame in dat");
    return std::string();
  }
  static const CFrameReader rows;
  return rows.Row(&header, body, exportRow);
}

}  // namespace quern
