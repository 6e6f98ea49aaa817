// The guard around the body of an export: no exception leaves the library.
// A caught failure's text becomes the error text; the error number is left
// as it is, so a foreign exception (bad_alloc) keeps it at 0.
#pragma once

#include <exception>
#include <utility>

#include "base/exception.h"

namespace quern {

template <typename Result, typename Body>
Result guardExport(Result onFailure, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (const std::exception& failure) {
    setErrorText(failure.what());
  } catch (...) {
    setErrorText("other exception");
  }
  return onFailure;
}

}  // namespace quern
