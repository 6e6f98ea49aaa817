// quern demo: a sample log generated, sliced, indexed in two parts and
// merged, then asked four questions whose counts stand beside the answers
// of the generator's ground truth.
#pragma once

#include <string>

#include "runs.h"

namespace quern::cli {

// The exit code: 0, or 1 when a step fails or disagrees with the sidecar.
int demoVerb(const std::string& dir, const Self& self);

}  // namespace quern::cli
