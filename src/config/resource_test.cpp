#include "config/resource.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "storage/crc.h"
#include "support/raises.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::TempDir;
using test::writeFile;

uint32_t crc32Of(const std::string& text) {
  static const CCrc crc;
  return crc.compute(text.data(), static_cast<uint32_t>(text.size()));
}

TEST(Resource, TextsLoseTheirBlanksSoTheCrcIgnoresSpacing) {
  TempDir dir;
  const std::string path = dir.file("resource.ini");
  // Values keep every blank but the one beside "=", and TAB, VT, FF, BS, BEL too.
  writeFile(path, std::string("[Other]\nRES_MAIL = other\n[Chinese]\nRES_MAIL =  \t邮件\v\f \r\n"
                              "RES_WEB_MAIL=\b\a网页 邮件\nRES_BLANK =  \t \nRES_EMPTY =\n"));
  const Resource resource(path.c_str());
  EXPECT_EQ(resource.Get("RES_MAIL"), "邮件");
  EXPECT_EQ(resource.Crc("RES_MAIL"), crc32Of("邮件"));
  EXPECT_EQ(resource.Get("res_web_mail"), "网页 邮件") << "ids are matched without case";
  for (const char* id : {"RES_BLANK", "RES_EMPTY", "RES_NONE"}) {
    EXPECT_TRUE(test::raises([&] { resource.Get(id); }, 2, "get id:" + std::string(id) + " resource fail"));
    EXPECT_TRUE(test::raises([&] { resource.Crc(id); }, 2, "get id:" + std::string(id) + " resource fail"));
  }
  const std::string other = dir.file("other.ini");
  writeFile(other, "[Other]\nRES_MAIL = other\n");
  EXPECT_TRUE(test::raises([&] { Resource(other.c_str()).Get("RES_MAIL"); }, 2, "get id:RES_MAIL resource fail"))
      << "only the Chinese section counts";
}

// The instance only counts as made once resource.ini loaded. A child process
// gives the test a fresh instance whatever ran before.
TEST(ResourceDeathTest, InstanceTriesAgainUntilTheFileLoads) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        bool ok = false;
        {
          const TempDir dir;
          const std::filesystem::path home = std::filesystem::current_path();
          std::filesystem::current_path(dir.path());
          const bool refused = test::raises([] { Resource::instance(); }, 2, "load resource.ini failed");
          writeFile("resource.ini", "[Chinese]\nRES_MAIL = a\n");
          const bool loaded = Resource::instance().Get("RES_MAIL") == "a";
          writeFile("resource.ini", "[Chinese]\nRES_MAIL = b\n");
          const bool once = Resource::instance().Get("RES_MAIL") == "a";
          std::filesystem::current_path(home);
          ok = refused && loaded && once;
        }
        std::exit(ok ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace quern
