// Filter: one node of a query's tree. `evaluate` gives a new set of record
// ids that the caller owns, or null, which means no record and never a
// failure. A tree is built by the query parser, evaluated once on the
// caller's thread and destroyed with its root.
#pragma once

#include <memory>

#include "codec/sfwahvector.h"

namespace quern {

class Filter {
 public:
  virtual ~Filter() = default;
  virtual std::unique_ptr<SFWAHVector> evaluate() = 0;
};

}  // namespace quern
