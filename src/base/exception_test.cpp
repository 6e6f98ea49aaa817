#include "base/exception.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "base/exportguard.h"

namespace quern {
namespace {

TEST(Exception, FormatTextNeverTruncates) {
  EXPECT_EQ(formatText("%s-%d", "a", 7), "a-7");
  const std::string big(5000, 'q');
  EXPECT_EQ(formatText("<%s>", big.c_str()), "<" + big + ">");
  EXPECT_EQ(formatText("%s", std::string(1023, 'x').c_str()).size(), 1023u);
  EXPECT_EQ(formatText("%s", std::string(1024, 'x').c_str()).size(), 1024u);
}

TEST(Exception, RaiseFailureLevelsTextAndErrorNumber) {
  const int before = errorNumber();
  try {
    raiseFailure(FailureSite{1, "quern", 12}, "bad field id %d", 42);
  } catch (const std::logic_error& failure) {
    EXPECT_STREQ(failure.what(), "quern     :12   ,bad field id 42");
  }
  EXPECT_EQ(errorNumber(), before == 0 ? 1 : before);
  EXPECT_THROW(QRN_RAISE(2, "disk"), std::runtime_error);
  EXPECT_EQ(errorNumber(), before == 0 ? 1 : before) << "the first level stays";

  try {
    QRN_RAISE(2, "%s", "x");
  } catch (const std::runtime_error& failure) {
    // The macro names this file's module and line.
    EXPECT_EQ(std::string(failure.what()), formatText("exception_test:%-5d,x", __LINE__ - 3));
  }
}

TEST(Exception, OverlongMessageRaisesTooLongAndKeepsTheNumber) {
  const int before = errorNumber();
  const std::string fits(4095, 'm');
  EXPECT_THROW(QRN_RAISE(2, "%s", fits.c_str()), std::runtime_error);
  const int after = errorNumber();
  const std::string tooLong(4096, 'm');
  try {
    QRN_RAISE(1, "%s", tooLong.c_str());
    FAIL();
  } catch (const std::runtime_error& failure) {
    EXPECT_STREQ(failure.what(), "throw message too long");
  }
  EXPECT_EQ(errorNumber(), after);
  EXPECT_EQ(after, before == 0 ? 2 : before);
}

TEST(Exception, GuardKeepsTheLastTextAndLeavesTheNumberForForeignExceptions) {
  const int before = errorNumber();
  EXPECT_EQ(guardExport(-1, []() -> int { throw std::bad_alloc(); }), -1);
  EXPECT_STREQ(errorText(), std::bad_alloc().what());
  EXPECT_EQ(errorNumber(), before);
  EXPECT_EQ(guardExport<const char*>(nullptr, []() -> const char* { throw 5; }), nullptr);
  EXPECT_STREQ(errorText(), "other exception");
  EXPECT_EQ(guardExport(-1, [] { return 3; }), 3);
  EXPECT_STREQ(errorText(), "other exception") << "a success never clears the text";
}

}  // namespace
}  // namespace quern
