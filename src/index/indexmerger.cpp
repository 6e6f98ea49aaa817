#include "index/indexmerger.h"

#include <exception>

#include "config/config.h"
#include "config/ini.h"
#include "base/exception.h"
#include "base/guard.h"
#include "index/indexerfactory.h"
#include "platform/platform.h"

namespace quern {

IndexMerger::IndexMerger() : IndexMerger(FieldsInfo::instance()) {}

IndexMerger::IndexMerger(const FieldsInfo& fields, uint32_t lookIntervalMs, uint32_t pauseMs)
    : m_fields(fields), m_lookIntervalMs(lookIntervalMs), m_pauseMs(pauseMs) {}

void IndexMerger::mergeFile(const char* path) {
  IniFile ini;
  if (ini.Load(path) != 0) {
    QRN_RAISE(2, "load %s failed, %s", path, platform::errorText(platform::lastErrno()).c_str());
  }
  const uint32_t count = configNumber(ini, "In", "count", 0);
  if (count == 0 || count > kMaxInputs) QRN_RAISE(2, "[In] count:%u is invalid", count);
  std::vector<std::string> inputs;
  for (uint32_t i = 0; i < count; ++i) {
    const std::string key = "i" + std::to_string(i);
    const char* input = configText(ini, "In", key.c_str());
    if (*input == '\0') QRN_RAISE(2, "i%u->path empty", i);
    inputs.emplace_back(input);
  }
  Merge(inputs, configText(ini, "Out", "path"));
}

void IndexMerger::Merge(const std::vector<std::string>& inputs, const std::string& output) {
  m_output = output;
  Suspender suspender(m_lookIntervalMs, m_pauseMs);
  suspender.setPath("suspend_flag");
  Suspender::setCurrent(&suspender);
  QRN_TRACE(2, "set suspend flag");
  openInputs(inputs);
  for (uint32_t id = 0; id < m_fields.fieldCount(); ++id) mergeField(id);
  mergeStore();
  uint64_t records = 0;
  for (const auto& reader : m_readers) records += reader->recordCount();
  writeSummary(m_output, static_cast<uint32_t>(records), m_fields);
  suspender.stop();
  QRN_TRACE(1, "merge %u directories into %s success", static_cast<uint32_t>(m_readers.size()), m_output.c_str());
}

void IndexMerger::openInputs(const std::vector<std::string>& inputs) {
  m_readers.clear();
  uint64_t records = 0;
  for (const std::string& input : inputs) {
    auto reader = std::make_unique<IndexReader>(input, m_fields);
    reader->loadSummary();
    // A directory without records adds nothing, and no field merger could take it.
    if (reader->recordCount() == 0) continue;
    records += reader->recordCount();
    raiseAs(QRN_SITE(2), "m_readers push_back", [&] {
      m_readers.push_back(std::move(reader));
    });
  }
  // Refused before any file is written: the result could never be opened.
  if (records > IndexReader::kMaxRecordCount) {
    QRN_RAISE(2, "merged record count %llu exceeds %u", static_cast<unsigned long long>(records),
              IndexReader::kMaxRecordCount);
  }
}

void IndexMerger::mergeField(uint32_t id) {
  const std::string name = m_fields.fieldName(id);
  const std::string path = m_output + m_fields.fileName(id);
  COutputDesc output(std::make_unique<CFileOutput>(path.c_str()));
  auto merger = IndexMergerFactory::instance().create(m_fields.indexerKind(id), static_cast<uint32_t>(m_readers.size()));
  for (const auto& reader : m_readers) {
    FieldIndexReader* field = reader->fieldReader(name);
    field->close();
    merger->insert(field);
  }
  merger->merge(&output);
  // The merger still points at the field readers: it goes first.
  merger.reset();
  for (const auto& reader : m_readers) reader->forgetField(name);
}

void IndexMerger::mergeStore() {
  CDataMerger store(std::make_unique<CDataWriter>(m_output + "store"));
  for (const auto& reader : m_readers) store.add(reader->store(), reader->recordCount());
  store.merge();
}

}  // namespace quern
