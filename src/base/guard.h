// The guards of constructors, destructors and the other places that catch
// every failure of a part and either raise it again in their own words or
// keep it to themselves. The texts are "<what> fail, <its text>" and
// "<what> fail, other exception", from the site that uses the guard.
#pragma once

#include <exception>
#include <utility>

#include "base/exception.h"

// The site of this file and line at `level`.
#define QRN_SITE(level) (::quern::FailureSite{(level), QRN_MODULE_NAME, __LINE__})

namespace quern {

// Runs `body`. A failure in it runs `undo` (which must not throw), then is
// raised again at `site` as "<what> fail, ...". Gives what `body` gives.
template <typename Body, typename Undo>
decltype(auto) raiseAs(const FailureSite& site, const char* what, Body&& body, Undo&& undo) {
  try {
    return std::forward<Body>(body)();
  } catch (const std::exception& failure) {
    undo();
    raiseFailure(site, "%s fail, %s", what, failure.what());
  } catch (...) {
    undo();
    raiseFailure(site, "%s fail, other exception", what);
  }
}

template <typename Body>
decltype(auto) raiseAs(const FailureSite& site, const char* what, Body&& body) {
  return raiseAs(site, what, std::forward<Body>(body), [] {});
}

// Runs `body` and lets nothing out: a failure is traced at `site` (its level
// is the trace level) as "<what> fail, ...". For destructors.
template <typename Body>
void keepFailures(const FailureSite& site, const char* what, Body&& body) noexcept {
  try {
    std::forward<Body>(body)();
  } catch (const std::exception& failure) {
    trace_write(site.level, site.module, site.line, "%s fail, %s", what, failure.what());
  } catch (...) {
    trace_write(site.level, site.module, site.line, "%s fail, other exception", what);
  }
}

}  // namespace quern
