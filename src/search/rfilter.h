// RFilter: the records whose field holds a value from `from` to `to`, both
// inclusive, in value order (unsigned bytes; a prefix is the smaller). How
// the range is answered depends on the field's kind: an E1 field unites the
// sets of its stored terms inside the range, a Range field combines at most
// two cumulative sets, and a full-text field finds nothing.
#pragma once

#include <string>

#include "search/filter.h"

namespace quern {

class E1IndexReader;
class Searcher;

class RFilter : public Filter {
 public:
  // Raises level 2 "Invalid param" for a null searcher (not owned) or name,
  // and level 1 "from is larger than to" for a reversed range.
  RFilter(Searcher* searcher, const char* field, std::string from, std::string to);
  ~RFilter() override = default;
  RFilter(const RFilter&) = delete;
  RFilter& operator=(const RFilter&) = delete;

  // Raises level 1 "can not find field(%s)" for a field outside the table.
  std::unique_ptr<SFWAHVector> evaluate() override;

  const std::string& field() const { return m_field; }
  const std::string& from() const { return m_from; }
  const std::string& to() const { return m_to; }

 private:
  std::unique_ptr<SFWAHVector> evaluateTerms(const E1IndexReader& reader);

  std::string m_field;
  std::string m_from;
  std::string m_to;
  Searcher* m_searcher;
};

}  // namespace quern
