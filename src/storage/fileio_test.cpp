#include "storage/fileio.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "platform/faults.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using test::readFile;
using test::TempDir;
using test::writeFile;

// The text of the failure that `body` raises, without "module    :line ,".
template <typename Body>
std::string failureOf(Body&& body) {
  const std::string text = test::failureText(body);
  return text.substr(text.find(',') + 1);
}

TEST(FileIO, PrimitivesRoundTripLittleEndianAndNeverReadPastTheEnd) {
  TempDir dir;
  const std::string path = dir.file("p.bin");
  const std::pair<uint32_t, uint32_t> vints[] = {{127, 1}, {128, 2}, {300, 2}, {4294967295u, 5}, {0, 1}};
  {
    CFileOutput out(path.c_str());
    out.writeChar(0xFF);
    out.writeInt(0x01020304);
    out.writeInt64(-2);
    out.writeChars("xyz", 3);
    for (const auto& [value, length] : vints) EXPECT_EQ(out.writeVInt(value), length);
    EXPECT_EQ(out.position(), 27);
  }
  const std::string bytes = readFile(path);
  EXPECT_EQ(bytes.substr(0, 5), std::string("\xFF\x04\x03\x02\x01", 5));
  EXPECT_EQ(bytes.substr(16), std::string("\x7F\x80\x01\xAC\x02\xFF\xFF\xFF\xFF\x0F\x00", 11));

  CFileInput in(path.c_str());
  EXPECT_EQ(in.size(), 27);
  EXPECT_EQ(in.getChar(), 0xFF);
  EXPECT_EQ(in.readInt(), 0x01020304);
  EXPECT_EQ(in.readInt64(), -2);
  char chars[4];
  EXPECT_EQ(in.readChars(chars, 3), 3u);
  EXPECT_EQ(std::string(chars, 3), "xyz");
  uint32_t consumed = 0;
  for (const auto& [value, length] : vints) {
    EXPECT_EQ(in.readVInt(consumed), value);
    EXPECT_EQ(consumed, length);
  }
  const std::string over = "read file " + path + " over";
  EXPECT_EQ(failureOf([&] { in.getChar(); }), over);

  // Three bytes before the end, wider reads fail whole; the file stays usable.
  for (const std::function<void()>& read : std::initializer_list<std::function<void()>>{
           [&] { in.readInt(); }, [&] { in.readInt64(); }, [&] { in.readChars(chars, 4); }}) {
    in.seek(24);
    EXPECT_EQ(failureOf(read), over);
  }
  in.seek(25);
  EXPECT_EQ(in.getChar(), 0x0F);
  // A vint cut by the end, and one longer than five bytes.
  writeFile(path, std::string("\x80\x80", 2));
  in.open(path.c_str());
  EXPECT_EQ(failureOf([&] { in.readVInt(consumed); }), over);
  writeFile(path, std::string("\x80\x80\x80\x80\x80\x01", 6));
  in.open(path.c_str());
  EXPECT_EQ(failureOf([&] { in.readVInt(consumed); }), "read vint failed, too long " + path);
}

TEST(FileIO, SeekFromEndAndOpenFailures) {
  TempDir dir;
  const std::string path = dir.file("k.bin");
  writeFile(path, std::string(1024, 'a') + "b");
  CFileInput in(path.c_str());
  in.seekFromEnd(0);
  EXPECT_EQ(in.position(), 1025);
  in.seekFromEnd(1025);
  EXPECT_EQ(in.position(), 0);
  EXPECT_THAT(failureOf([&] { in.seekFromEnd(1026); }), HasSubstr("seek file " + path + " failed"));

  EXPECT_EQ(failureOf([] { CFileInput in(nullptr); }), "Invalid param(file_path)");
  EXPECT_EQ(failureOf([] { CFileOutput out(nullptr); }), "Invalid param(file_path)");
  const auto openFailed = StartsWith("open file /nonexistent/quern/file failed, ");
  EXPECT_THAT(failureOf([] { CFileInput in("/nonexistent/quern/file"); }), openFailed);
  EXPECT_THAT(failureOf([] { CFileOutput out("/nonexistent/quern/file"); }), openFailed);
}

TEST(FileIO, CopyFromStopsAtTheSourceEndAfterCopyingWhatWasThere) {
  TempDir dir;
  const std::string source = dir.file("src.bin"), target = dir.file("dst.bin");
  std::string bytes;
  for (int i = 0; i < 200000; ++i) bytes += static_cast<char>(i * 7);
  writeFile(source, bytes);
  {
    CFileInput in(source.c_str());
    in.seek(5);
    CFileOutput out(target.c_str());
    out.copyFrom(in, 0);
    out.copyFrom(in, 150000);
    EXPECT_EQ(out.position(), 150000);
    EXPECT_EQ(failureOf([&] { out.copyFrom(in, 60000); }), "read file " + source + " over");
  }
  EXPECT_EQ(readFile(target), bytes.substr(5));
}

// Failing system calls carry their own words; a read error is told apart
// from the end of the file.
TEST(FileIO, InjectedFaults) {
  namespace faults = platform::faults;
  TempDir dir;
  const std::string path = dir.file("w.bin");
  {
    CFileOutput out(path.c_str());
    const std::tuple<faults::Op, faults::Effect, std::function<void()>, std::string> cases[] = {
        {faults::Op::Write, faults::Effect::Fail, [&] { out.writeInt(1); }, "write int failed, "},
        {faults::Op::Write, faults::Effect::ShortWrite, [&] { out.writeChars("abcdef", 6); }, "write chars failed, "},
        {faults::Op::Flush, faults::Effect::Fail, [&] { out.commit(); }, "fflush file failed, "},
        {faults::Op::Sync, faults::Effect::Fail, [&] { out.commit(); }, "commit " + path + " fail, "}};
    for (const auto& [op, effect, action, words] : cases) {
      faults::arm(1, effect, static_cast<unsigned>(op));
      EXPECT_THAT(failureOf(action), StartsWith(words));
    }
    faults::disarm();
  }
  writeFile(path, std::string(64, 'x'));
  CFileInput in(path.c_str());
  faults::arm(2, faults::Effect::Fail, static_cast<unsigned>(faults::Op::Read));
  EXPECT_EQ(in.getChar(), 'x');
  EXPECT_THAT(failureOf([&] { in.getChar(); }), ::testing::AllOf(StartsWith("get char failed, "), HasSubstr(path)));
  EXPECT_EQ(faults::seen(), 2u);
  faults::disarm();
}

}  // namespace
}  // namespace quern
