#include "storage/fileio.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/faults.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::readFile;
using test::TempDir;
using test::writeFile;

// The text of the failure that `body` raises.
template <typename Body>
std::string failureOf(Body&& body) {
  try {
    body();
  } catch (const std::runtime_error& failure) {
    const std::string text = failure.what();
    return text.substr(text.find(',') + 1);  // drop "module    :line "
  }
  return "no failure";
}

TEST(FileIO, PrimitivesRoundTripLittleEndian) {
  TempDir dir;
  const std::string path = dir.file("p.bin");
  {
    CFileOutput out(path.c_str());
    out.writeChar(0xFF);
    out.writeInt(0x01020304);
    out.writeInt64(-2);
    out.writeChars("xyz", 3);
    EXPECT_EQ(out.writeVInt(127), 1u);
    EXPECT_EQ(out.writeVInt(128), 2u);
    EXPECT_EQ(out.writeVInt(300), 2u);
    EXPECT_EQ(out.writeVInt(4294967295u), 5u);
    EXPECT_EQ(out.writeVInt(0), 1u);
    EXPECT_EQ(out.position(), 1 + 4 + 8 + 3 + 1 + 2 + 2 + 5 + 1);
  }
  const std::string bytes = readFile(path);
  EXPECT_EQ(bytes.substr(0, 5), std::string("\xFF\x04\x03\x02\x01", 5));
  EXPECT_EQ(bytes.substr(16), std::string("\x7F\x80\x01\xAC\x02\xFF\xFF\xFF\xFF\x0F\x00", 11));

  CFileInput in(path.c_str());
  EXPECT_EQ(in.size(), 27);
  EXPECT_EQ(in.getChar(), 0xFF);
  EXPECT_EQ(in.readInt(), 0x01020304);
  EXPECT_EQ(in.readInt64(), -2);
  char chars[3];
  EXPECT_EQ(in.readChars(chars, 3), 3u);
  EXPECT_EQ(std::string(chars, 3), "xyz");
  EXPECT_EQ(in.readChars(chars, 0), 0u);
  uint32_t consumed = 9;
  for (uint32_t expected : {127u, 128u, 300u, 4294967295u, 0u}) {
    EXPECT_EQ(in.readVInt(consumed), expected);
  }
  EXPECT_EQ(consumed, 1u);
  EXPECT_EQ(failureOf([&] { in.getChar(); }), "read file " + path + " over");
}

TEST(FileIO, ReadsNeverPassTheEnd) {
  TempDir dir;
  const std::string path = dir.file("short.bin");
  writeFile(path, std::string("\x01\x02\x03", 3));
  CFileInput in(path.c_str());
  const std::string over = "read file " + path + " over";
  EXPECT_EQ(failureOf([&] { in.readInt(); }), over);
  in.seek(0);
  EXPECT_EQ(failureOf([&] { in.readInt64(); }), over);
  in.seek(0);
  char buffer[8];
  EXPECT_EQ(failureOf([&] { in.readChars(buffer, 4); }), over);
  in.seek(2);  // still usable after a failure
  EXPECT_EQ(in.getChar(), 3);

  writeFile(path, std::string("\x80\x80", 2));
  in.open(path.c_str());
  EXPECT_EQ(in.size(), 2);
  uint32_t consumed;
  EXPECT_EQ(failureOf([&] { in.readVInt(consumed); }), over);
  writeFile(path, std::string("\x80\x80\x80\x80\x80\x01", 6));
  in.open(path.c_str());
  EXPECT_NE(failureOf([&] { in.readVInt(consumed); }), "no failure") << "a vint never runs past five bytes";

  writeFile(path, "");
  in.open(path.c_str());
  EXPECT_EQ(in.size(), 0);
  EXPECT_EQ(failureOf([&] { in.getChar(); }), over);
}

TEST(FileIO, SeekFromEndAndClone) {
  TempDir dir;
  const std::string path = dir.file("k.bin");
  writeFile(path, std::string(1024, 'a') + "b");
  CFileInput in(path.c_str());
  in.seekFromEnd(0);
  EXPECT_EQ(in.position(), 1025);
  in.seekFromEnd(1025);
  EXPECT_EQ(in.position(), 0);
  EXPECT_NE(failureOf([&] { in.seekFromEnd(1026); }).find("seek file " + path + " failed"), std::string::npos);

  in.seek(1024);
  auto copy = in.clone();
  EXPECT_EQ(copy->position(), 0);
  EXPECT_EQ(copy->getChar(), 'a');
  EXPECT_EQ(in.getChar(), 'b');
}

TEST(FileIO, OpenFailures) {
  EXPECT_EQ(failureOf([] { CFileInput in(nullptr); }), "Invalid param(file_path)");
  EXPECT_EQ(failureOf([] { CFileOutput out(nullptr); }), "Invalid param(file_path)");
  const std::string missing = failureOf([] { CFileInput in("/nonexistent/quern/file"); });
  EXPECT_EQ(missing.rfind("open file /nonexistent/quern/file failed, ", 0), 0u) << missing;
  const std::string cannot = failureOf([] { CFileOutput out("/nonexistent/quern/file"); });
  EXPECT_EQ(cannot.rfind("open file /nonexistent/quern/file failed, ", 0), 0u) << cannot;
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

class FaultInjection : public ::testing::Test {
 protected:
  void TearDown() override { platform::faults::disarm(); }
  TempDir m_dir;
};

TEST_F(FaultInjection, WriteFailuresCarryTheirWords) {
  using platform::faults::Effect;
  using platform::faults::Op;
  const std::string path = m_dir.file("w.bin");
  CFileOutput out(path.c_str());
  platform::faults::arm(1, Effect::Fail, static_cast<unsigned>(Op::Write));
  EXPECT_EQ(failureOf([&] { out.writeInt(1); }).rfind("write int failed, ", 0), 0u);
  platform::faults::arm(1, Effect::ShortWrite, static_cast<unsigned>(Op::Write));
  EXPECT_EQ(failureOf([&] { out.writeChars("abcdef", 6); }).rfind("write chars failed, ", 0), 0u);
  platform::faults::arm(1, Effect::Fail, static_cast<unsigned>(Op::Flush));
  EXPECT_EQ(failureOf([&] { out.commit(); }).rfind("fflush file failed, ", 0), 0u);
  platform::faults::arm(1, Effect::Fail, static_cast<unsigned>(Op::Sync));
  EXPECT_EQ(failureOf([&] { out.commit(); }).rfind("commit " + path + " fail, ", 0), 0u);
}

TEST_F(FaultInjection, ReadErrorIsToldApartFromEndOfFile) {
  using platform::faults::Effect;
  using platform::faults::Op;
  const std::string path = m_dir.file("r.bin");
  writeFile(path, std::string(64, 'x'));
  CFileInput in(path.c_str());
  platform::faults::arm(2, Effect::Fail, static_cast<unsigned>(Op::Read));
  EXPECT_EQ(in.getChar(), 'x');
  const std::string text = failureOf([&] { in.getChar(); });
  EXPECT_EQ(text.rfind("get char failed, ", 0), 0u) << text;
  EXPECT_NE(text.find(path), std::string::npos);
  EXPECT_EQ(platform::faults::seen(), 2u);
}

}  // namespace
}  // namespace quern
