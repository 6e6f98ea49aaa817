// Searcher: one open index directory and the result of the latest query on
// it. `search` reads a query file (an INI file, section "filter", documented
// in docs/query.md) into a tree of filters under one root MFilter, evaluates
// it and keeps the newest matches' record ids; `row` turns one of them into
// its locator; `fetchFrame` reads a frame's row from a log file. Queries
// need a current Canceler (base/cancel.h). One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "index/index.h"

namespace quern {

class MFilter;

class Searcher {
 public:
  static constexpr uint32_t kMaxLimit = 10000000;

  // Opens the directory on the process's field table. A path that doesn't
  // end in a separator gets one. A failing summary raises "construct
  // Searcher fail, ..."; a failure to open the store passes as it is.
  explicit Searcher(const std::string& directory);
  // On `fields`, which must outlive the searcher.
  Searcher(const std::string& directory, const FieldsInfo& fields);
  virtual ~Searcher() = default;
  Searcher(const Searcher&) = delete;
  Searcher& operator=(const Searcher&) = delete;

  // Runs the query file: the number of matches, all of them, not cut by
  // the query's limit; keeps the ids of the newest `limit` ones, newest
  // first. A directory without records gives 0 without reading the file. A
  // cancelled query gives what was found until then. A failure leaves no
  // results.
  uint32_t search(const std::string& queryFile);
  // The locator "log:offset:ordinal" of result `index`, or the empty text
  // when there is no such result.
  std::string row(uint32_t index) const;
  // The result row (`exportRow` 0) or export row of frame `ordinal` of the
  // block at `offset` in the log `path`, or the empty text when the block
  // has no such frame. Raises level 2 "error param" for a null path, offset
  // 0 or a negative ordinal, and "logs is null" when no block can be read
  // there. The last block read is kept between calls, with the frames
  // before the last one fetched, so that fetching a block's rows from the
  // newest down walks it once.
  static std::string fetchFrame(int exportRow, const char* path, uint64_t offset, int32_t ordinal);

  // Reads the current query file into `root` and `limit`, and names the
  // current Canceler's file. Children added before a failure stay in `root`.
  void parseQuery(MFilter& root, uint32_t& limit);
  // Names the query file of `parseQuery`; `search` names its own.
  void setQueryPath(const std::string& path) { m_queryPath = path; }

  IndexReader& reader() { return *m_reader; }
  const std::vector<uint32_t>& results() const { return m_results; }

 private:
  void parseUser(MFilter& root, const std::string& value);
  void parseGroups(MFilter& root, const std::string& value);
  void parseGroup(MFilter& path, uint32_t level, const std::string& piece);
  void parseHost(MFilter& root, const std::string& value);
  void parseServ(MFilter& root, const std::string& value);
  void parseApp(MFilter& root, const std::string& value);
  void parsePrivate(MFilter& root, const std::string& value);
  void parseTime(MFilter& root, const std::string& value);
  void parseResult(MFilter& root, const std::string& value);
  void parseSnap(MFilter& root, const std::string& value);

  std::unique_ptr<IndexReader> m_reader;
  std::string m_queryPath;
  std::vector<uint32_t> m_results;
};

}  // namespace quern
