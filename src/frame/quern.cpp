// The C exports.
#include "quern.h"

#include <string>

#include "crashkeep.h"
#include "frame/exception.h"
#include "platform/platform.h"

using namespace quern;

namespace {
constexpr int kOpenFileLimit = 2048;
}

extern "C" int qrn_indexer_init(const char* logPath, int logOption) {
  if (!platform::raiseOpenFileLimit(kOpenFileLimit)) {
    setErrorText(formatText("_setmaxstdio fail, %s", platform::errorText(platform::lastErrno()).c_str()));
    return -1;
  }
  trace_set_path(logPath, logOption);
  if (crash_keep_init() == -1) {
    setErrorText(formatText("crash keep init fail, %d", static_cast<int>(platform::lastSystemError())));
    return -1;
  }
  return 0;
}

extern "C" const char* qrn_indexer_error(void) { return errorText(); }

extern "C" int qrn_indexer_error_num(void) { return errorNumber(); }
