// Checks the failures the library raises: the level and the message.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace quern::test {

// Runs `action` and checks that it raises `text` at `level` (1 logic, 2 runtime).
template <typename Action>
::testing::AssertionResult raises(Action action, int level, const std::string& text) {
  std::string what = "nothing";
  try {
    action();
  } catch (const std::logic_error& failure) {
    what = level == 1 ? failure.what() : "a logic error";
  } catch (const std::runtime_error& failure) {
    what = level == 2 ? failure.what() : "a runtime error";
  }
  const std::string end = "," + text;
  if (what.size() >= end.size() && what.compare(what.size() - end.size(), end.size(), end) == 0) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "raised " << what << ", expected " << text;
}

}  // namespace quern::test
