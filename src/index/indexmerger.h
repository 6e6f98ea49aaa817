// IndexMerger joins finished index directories into one: the inputs'
// records one input after the other, each field merged by its kind's merger
// one field at a time, then the store, then index.desc, so that a directory
// whose index.desc exists is complete. Inputs without records are left out.
// For its whole length a merge watches "suspend_flag" in the current
// directory and pauses at its test points while the file is fresh.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/suspend.h"
#include "index/fieldsinfo.h"
#include "index/index.h"

namespace quern {

class IndexMerger {
 public:
  static constexpr uint32_t kMaxInputs = 200;

  // On the process's field table.
  IndexMerger();
  // On `fields`, which must outlive the merger; the watcher's timing can be
  // shortened for tests.
  explicit IndexMerger(const FieldsInfo& fields, uint32_t lookIntervalMs = Suspender::kLookIntervalMs,
                       uint32_t pauseMs = Suspender::kPauseMs);
  virtual ~IndexMerger() = default;
  IndexMerger(const IndexMerger&) = delete;
  IndexMerger& operator=(const IndexMerger&) = delete;

  // Reads the merge input file ([In] count, i0...; [Out] path), then merges.
  void mergeFile(const char* path);
  // `inputs` and `output` end in a separator; `output` exists and is none of
  // the inputs. A record sum above IndexReader::kMaxRecordCount is refused
  // before anything is written.
  void Merge(const std::vector<std::string>& inputs, const std::string& output);

 private:
  void openInputs(const std::vector<std::string>& inputs);
  void mergeField(uint32_t id);
  void mergeStore();

  const FieldsInfo& m_fields;
  uint32_t m_lookIntervalMs;
  uint32_t m_pauseMs;
  std::vector<std::unique_ptr<IndexReader>> m_readers;
  std::string m_output;
};

}  // namespace quern
