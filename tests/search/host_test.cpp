// The C host of examples/ as a program: it indexes a generated log, asks for
// one user's records and prints the newest with their rows; what it prints
// must be what the generator's sidecar says.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "qvloggen/truthquery.h"
#include "support/logdir.h"

namespace quern {
namespace {

namespace fs = std::filesystem;

TEST(ExampleHost, IndexesQueriesAndPrintsRows) {
  const std::string host = (fs::current_path() / QUERN_EXAMPLE_HOST).make_preferred().string();
  const test::LogDir dir(21, 6, 32u << 10);
  const qvloggen::Truth truth = qvloggen::readTruth(dir.summary.truthPath);
  const std::vector<qvloggen::TruthRecord> records = qvloggen::truthRecords(truth);
  const std::string user = records.back().frame->user;
  const auto matches = qvloggen::truthMatches(records, {{"cancel", "c"}, {"limit", "4"}, {"user", user},
                                                        {"time", "0000/00/00 00:00:00-9999/99/99 99:99:99"}});
  ASSERT_TRUE(matches.has_value());

  fs::create_directory("index");
  const std::string log = fs::path(dir.summary.logPath).filename().string();
  ASSERT_EQ(std::system(("\"" + host + "\" " + log + " index " + user + " 4 > output.txt 2>&1").c_str()), 0)
      << test::readFile("output.txt");

  std::istringstream output(test::readFile("output.txt"));
  std::string line;
  std::getline(output, line);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  EXPECT_EQ(line, std::to_string(matches->size()) + " records of " + user);
  size_t rows = 0;
  for (; std::getline(output, line); ++rows) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    ASSERT_LT(rows, 4u) << line;
    const qvloggen::TruthRecord& record = records[(*matches)[matches->size() - 1 - rows] - 1];
    // Locator, then the result row, which opens with the frame's time and tag.
    char tag[16];
    std::snprintf(tag, sizeof tag, "%08X", record.frame->eventTag);
    EXPECT_EQ(line.substr(0, line.find('\t')), qvloggen::truthLocator(record, 0));
    EXPECT_NE(line.find("\t" + record.frame->time + "\t" + tag + "\t"), std::string::npos) << line;
  }
  EXPECT_EQ(rows, std::min<size_t>(4, matches->size()));
  EXPECT_FALSE(fs::exists("host.query")) << "the host removes its query file";
}

}  // namespace
}  // namespace quern
