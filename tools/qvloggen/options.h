// The generator's command-line options, shared by the qvloggen tool and
// `quern gen`.
#pragma once

#include <string>
#include <vector>

#include "qvloggen.h"

namespace quern::qvloggen {

// Reads "--name value" pairs and "--no-truth" into `options` and `dir`. False
// with `error` set on an unknown option or a bad value.
bool parseOptions(const std::vector<std::string>& args, Options& options, std::string& dir, std::string& error);

// The option list, for help texts.
const char* optionsHelp();

}  // namespace quern::qvloggen
