// UFilter: the records that any child finds. Children that find nothing are
// passed over; between children the query's Canceler is asked, and a
// cancelled query gives the union found so far.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "search/filter.h"

namespace quern {

class Searcher;

class UFilter : public Filter {
 public:
  // `searcher` (not owned) serves the children `addEqual` makes; null raises
  // level 2 "invalid param (pSearcher)".
  explicit UFilter(Searcher* searcher);
  ~UFilter() override;
  UFilter(const UFilter&) = delete;
  UFilter& operator=(const UFilter&) = delete;

  void addFilter(std::unique_ptr<Filter> filter);
  // Appends an EFilter on the field and value. Raises level 2 "invalid
  // param" for a null name or value or a size of 0, and "m_filters
  // push_back fail, ..." when the list cannot take it.
  void addEqual(const char* field, const void* value, uint32_t size);
  // Null when no child finds a record. Raises level 1 "canceler is null,
  // need to set it first" when no Canceler is current.
  std::unique_ptr<SFWAHVector> evaluate() override;

  const std::vector<std::unique_ptr<Filter>>& filters() const { return m_filters; }

 private:
  std::vector<std::unique_ptr<Filter>> m_filters;
  Searcher* m_searcher;
};

}  // namespace quern
