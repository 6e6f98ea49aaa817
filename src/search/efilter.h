// EFilter: the records whose field holds one value, as the field's kind
// reads a lookup: E1 exactly this value, Range this value or below, Ft the
// value as a phrase.
#pragma once

#include <cstdint>
#include <string>

#include "search/filter.h"

namespace quern {

class Searcher;

class EFilter : public Filter {
 public:
  // Copies the name and the value. Raises level 2 "invalid param" for a
  // null searcher (not owned) or name, a null value or a size of 0.
  EFilter(Searcher* searcher, const char* field, const void* value, uint32_t size);
  ~EFilter() override = default;
  EFilter(const EFilter&) = delete;
  EFilter& operator=(const EFilter&) = delete;

  // The field's answer; a field without a reader raises there.
  std::unique_ptr<SFWAHVector> evaluate() override;

  const std::string& field() const { return m_field; }
  const std::string& value() const { return m_value; }

 private:
  Searcher* m_searcher;
  std::string m_field;
  std::string m_value;
};

}  // namespace quern
