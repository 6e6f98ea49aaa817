// MFilter: the records that every child finds. Children run in the order
// they were added and the first that finds nothing ends the evaluation, so
// the most selective clause belongs in front. Between children the query's
// Canceler is asked; a cancelled query gives the set found so far.
#pragma once

#include <memory>
#include <vector>

#include "search/filter.h"

namespace quern {

class MFilter : public Filter {
 public:
  MFilter() = default;
  ~MFilter() override;
  MFilter(const MFilter&) = delete;
  MFilter& operator=(const MFilter&) = delete;

  void addFilter(std::unique_ptr<Filter> filter);
  // Null without children. Raises level 1 "canceler is null, need to set it
  // first" when a second child is due and no Canceler is current.
  std::unique_ptr<SFWAHVector> evaluate() override;

  const std::vector<std::unique_ptr<Filter>>& filters() const { return m_filters; }

 private:
  std::vector<std::unique_ptr<Filter>> m_filters;
};

}  // namespace quern
