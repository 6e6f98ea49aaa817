#include "config/config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "storage/textutil.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::TempDir;
using test::writeFile;

TEST(ConfigNumber, ParsesLikeStrtoulThroughA32ByteBuffer) {
  TempDir dir;
  const std::string path = dir.file("run.ini");
  writeFile(path,
            "[n]\nempty =\nletters = abc\nmixed = 12abc\nblank =  7\nnegative = -5\nhuge = 4294967296\n"
            "max = 4294967295\nhex = 0x10\npadded31 = 0000000000000000000000000000123\n"
            "padded34 = 0000000000000000000000000000000123\n");
  IniFile ini;
  ASSERT_EQ(ini.Load(path.c_str()), 0);
  // Nothing behind the = means the default; not a number is 0; only 31
  // characters count; too large saturates on every target.
  const std::pair<const char*, uint32_t> cases[] = {
      {"missing", 42},          {"empty", 42},         {"letters", 0},       {"mixed", 12},
      {"blank", 7},             {"huge", 4294967295u}, {"max", 4294967295u}, {"hex", 0},
      {"negative", 4294967291u}, {"padded31", 123},     {"padded34", 0}};
  for (const auto& [key, expected] : cases) EXPECT_EQ(configNumber(ini, "n", key, 42), expected) << key;
}

TEST(IndexConfig, ReadsTheRunFileWithDefaults) {
  TempDir dir;
  const std::string path = dir.file("run.ini");
  writeFile(path, "[in]\nPath = /logs/a.qvlog\nbegin = 5\n[OUT]\ndir = /idx/\n[Global]\nmaxIndexMemory = 0\n");
  IndexConfig config;
  config.load(path.c_str());
  EXPECT_STREQ(config.inPath(), "/logs/a.qvlog");
  EXPECT_EQ(config.begin(), 5u) << "the reader, not the settings, lifts it to 28";
  EXPECT_EQ(config.end(), 0u);
  EXPECT_EQ(config.outDir(), "/idx//");
  EXPECT_EQ(config.maxIndexMemory(), 0u);
  EXPECT_EQ(config.cacheValueSize(), IndexConfig::kDefaultCacheValueSize);

  writeFile(path, "[Global]\ncacheValueSize = 64\n");
  ASSERT_TRUE(platform::setModificationTime(path.c_str(), platform::currentTime() - 10));
  config.load(path.c_str());
  EXPECT_STREQ(config.inPath(), "");
  EXPECT_EQ(config.outDir(), "/");
  EXPECT_EQ(config.maxIndexMemory(), IndexConfig::kDefaultMaxIndexMemory);
  EXPECT_EQ(config.cacheValueSize(), 64u);

  const std::string missing = dir.file("missing.ini");
  EXPECT_THAT(test::failureText([&] { config.load(missing.c_str()); }),
              ::testing::AllOf(::testing::StartsWith("config "), ::testing::HasSubstr(",load " + missing + " failed")));
}

TEST(GlobalConfig, ShippedDefaultsListTheRecordFieldsAndKinds) {
  const GlobalConfig config(QUERN_CONF_DIR "/config.ini");
  std::string list;
  for (int level = 1; level <= 15; ++level) list += "g" + std::to_string(level) + ",";
  EXPECT_EQ(config.indexFields(), list + "user,host,serv,snap,app,private,time,result");
  std::vector<std::string> fields;
  split(fields, config.indexFields(), ',');
  for (const std::string& field : fields) {
    const char* kind = field == "time" ? "range" : field == "result" ? "ft" : "e1";
    EXPECT_STREQ(config.indexer(field.c_str()), kind) << field;
  }
}

// The process-wide instance only counts as made once config.ini loaded. A
// child process gives the test a fresh instance whatever ran before.
TEST(GlobalConfigDeathTest, InstanceTriesAgainUntilConfigLoads) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        bool ok = false;
        {
          const TempDir dir;
          const std::filesystem::path home = std::filesystem::current_path();
          std::filesystem::current_path(dir.path());
          const bool refused = test::failureText([] { GlobalConfig::instance(); }).find(",load config.ini failed") !=
                               std::string::npos;
          writeFile("config.ini", "[Global]\nindexFields = x\n");
          const bool loaded = std::string(GlobalConfig::instance().indexFields()) == "x";
          writeFile("config.ini", "[Global]\nindexFields = y\n");
          const bool once = std::string(GlobalConfig::instance().indexFields()) == "x";
          std::filesystem::current_path(home);
          ok = refused && loaded && once;
        }
        std::exit(ok ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace quern
