#include "config/ini.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "platform/faults.h"
#include "platform/platform.h"
#include "support/tempdir.h"

namespace quern {
namespace {

using test::readFile;
using test::textFile;
using test::writeFile;

class IniFileTest : public ::testing::Test {
 protected:
  // Writes `text` as the test's file and loads it into `m_ini`.
  void load(const std::string& text) {
    writeFile(m_file, text);
    ASSERT_EQ(m_ini.Load(m_file.c_str()), 0);
  }
  std::string value(const char* section, const char* key) const {
    const char* text = m_ini.Value(m_ini.Section(section), key);
    return text != nullptr ? text : "<none>";
  }
  std::string saved() {
    const std::string out = m_dir.file("out.ini");
    EXPECT_EQ(m_ini.Save(out.c_str()), 0);
    return readFile(out);
  }

  test::TempDir m_dir;
  std::string m_file = m_dir.file("test.ini");
  IniFile m_ini;
};

// The saved text shows every key and value: the first of two equal keys
// wins, one blank on each side of "=" goes, tabs stay, an empty value still
// makes its key, a NUL byte ends the line's text, and a line without a key
// or without "=" is ignored. Lookups ignoring case are the model's.
TEST_F(IniFileTest, KeyLineRules) {
  load(std::string("[s]\na = 1\nb=2\nc =  3\n=4\nno equals\ne =\nf\t=\t6\nA = dup\n  g = 7\nh = x=y\n"
                   "i = a\0b\n",
                   77));
  EXPECT_EQ(value("s", "f\t"), "\t6");
  EXPECT_EQ(value("s", "g"), "7") << "blanks before the key go";
  EXPECT_EQ(saved(), textFile("[s]\na = 1\nb = 2\nc =  3\ne = \nf\t = \t6\ng = 7\nh = x=y\ni = a\n\n"));
}

TEST_F(IniFileTest, SectionHeaderRules) {
  load("orphan = 1\n[Alpha]\nx = 1\n[Note] ; why\ny = 2\n[ALPHA]\nz = 3\nX = 4\n[Win]\r\nw = v\r\n[Last]");
  EXPECT_EQ(m_ini.sectionCount(), 4u) << "keys before any header are ignored";
  ASSERT_NE(m_ini.Section("alpha"), nullptr);
  EXPECT_STREQ(m_ini.Section("alpha")->name, "Alpha") << "the first spelling stays";
  EXPECT_EQ(value("alpha", "x"), "1");
  EXPECT_EQ(value("alpha", "z"), "3") << "a repeated header continues its section";
  EXPECT_EQ(m_ini.Section("Note"), nullptr) << "no bracket before the line end";
  EXPECT_EQ(value("note] ; why\n", "y"), "2");
  EXPECT_EQ(value("win", "w"), "v") << "CR LF ends header and value";
  EXPECT_NE(m_ini.Section("last]"), nullptr) << "without a newline the bracket is part of the name";
}

TEST_F(IniFileTest, CommentsMoveBehindHeadersOnSave) {
  load("; head\n# two\n\n[One]\na=1\n  ; inside one\nb = 2\n[two]\n; before keys\nc  =  3\n; trailing\n");
  EXPECT_EQ(m_ini.headComment(), "; head\n# two\n");
  EXPECT_EQ(saved(), textFile("; head\n# two\n\n"
                              "[One]\n  ; inside one\n\na = 1\nb = 2\n\n"
                              "[two]\nc  =  3\n\n"));
}

TEST_F(IniFileTest, NamesAgreeOnTheirFirst64Characters) {
  const std::string stem(64, 'k');
  load("[" + stem + "a]\n" + stem + "1 = first\n" + std::string(64, 'K') + "2 = second\n[" + stem + "b]\n");
  EXPECT_EQ(m_ini.sectionCount(), 1u);
  EXPECT_EQ(value((stem + "zzz").c_str(), (stem + "3").c_str()), "first");
  EXPECT_EQ(value(stem.substr(1).c_str(), stem.c_str()), "<none>") << "63 characters are another name";
}

// A section of twelve keys has grown to 19 buckets; later sections start
// at the size of the largest so far.
TEST_F(IniFileTest, LaterSectionsStartLarger) {
  std::string text = "[big]\n";
  for (int i = 0; i < 12; ++i) text += "k" + std::to_string(i) + "=" + std::to_string(i) + "\n";
  load(text + "[next]\nz=1\n");
  EXPECT_EQ(m_ini.Section("next")->keys.bucketCount(), 19u);
}

TEST_F(IniFileTest, LongLinesArriveInPieces) {
  const std::string first(65532, 'x');
  load("[s]\nk=" + first + "y=z\n");
  EXPECT_EQ(value("s", "k"), first);
  EXPECT_EQ(value("s", "y"), "z") << "the rest of a long line is a line of its own";
}

TEST_F(IniFileTest, GetStringBuffersAndDefaults) {
  load("[s]\nk = hello\n");
  char buffer[4] = "???";
  EXPECT_STREQ(m_ini.GetString("s", "k", "d", buffer, 4), "hel");
  EXPECT_EQ(m_ini.GetString("s", "k", "d", buffer, 0), m_ini.Value(m_ini.Section("s"), "k")) << "no room, no copy";
  EXPECT_EQ(m_ini.GetString("s", "none", "defaults", buffer, 4), buffer);
  EXPECT_STREQ(buffer, "def");
  EXPECT_STREQ(m_ini.GetString("none", "k", nullptr, buffer, 4), "");
  const char* fallback = "d";
  EXPECT_EQ(m_ini.GetString(nullptr, nullptr, fallback, nullptr, 0), fallback);
}

TEST_F(IniFileTest, SetValueMovesTheKeyAndSaveWritesOnlyWhenChanged) {
  load("[s]\na=1\nb=2\n");
  writeFile(m_file, "changed behind our back");
  EXPECT_EQ(m_ini.Save(nullptr), 0);
  EXPECT_EQ(readFile(m_file), "changed behind our back") << "a clean document writes nothing";
  EXPECT_EQ(saved(), textFile("[s]\na = 1\nb = 2\n\n")) << "another path is always written";

  EXPECT_EQ(m_ini.SetValue("S", "A", "9"), 0);
  EXPECT_EQ(m_ini.SetValue("new", "k", nullptr), 0);
  EXPECT_EQ(m_ini.Save(m_file.c_str()), 0);
  EXPECT_EQ(readFile(m_file), textFile("[s]\nb = 2\nA = 9\n\n[new]\nk = \n\n"));
  writeFile(m_file, "untouched");
  EXPECT_EQ(m_ini.Save(nullptr), 0);
  EXPECT_EQ(readFile(m_file), "untouched") << "a save clears the change mark";

  IniFile fresh;
  EXPECT_EQ(fresh.Save(nullptr), 0) << "nothing to write";
  EXPECT_EQ(fresh.SetValue("x", "y", "z"), 0);
  EXPECT_EQ(fresh.Save(nullptr), -1) << "no path to write to";
}

// An unchanged file is not read again; a failed load leaves an empty
// document and the next load reads again; failing file calls are result codes.
TEST_F(IniFileTest, LoadsAndFileErrors) {
  namespace faults = platform::faults;
  load("[s]\na=1\n");
  ASSERT_EQ(m_ini.SetValue("s", "b", "2"), 0);
  ASSERT_EQ(m_ini.Load(m_file.c_str()), 0);
  EXPECT_EQ(value("s", "b"), "2") << "same path, same time: no reload";

  int64_t seconds = 0;
  ASSERT_TRUE(platform::modificationTime(m_file.c_str(), seconds));
  ASSERT_TRUE(platform::setModificationTime(m_file.c_str(), seconds - 100));
  ASSERT_EQ(m_ini.Load(m_file.c_str()), 0);
  EXPECT_EQ(value("s", "b"), "<none>");
  EXPECT_EQ(value("s", "a"), "1");

  EXPECT_EQ(m_ini.Load(m_dir.file("missing.ini").c_str()), -1);
  EXPECT_EQ(m_ini.sectionCount(), 0u);
  EXPECT_EQ(m_ini.Load(nullptr), -1);
  faults::arm(1, faults::Effect::Fail, unsigned(faults::Op::Read));
  EXPECT_EQ(m_ini.Load(m_file.c_str()), -1) << "a read error is no shorter file";
  ASSERT_EQ(m_ini.Load(m_file.c_str()), 0);
  const std::string out = m_dir.file("out.ini");
  for (const faults::Op op : {faults::Op::Open, faults::Op::Write, faults::Op::Sync, faults::Op::Close}) {
    faults::arm(1, faults::Effect::Fail, unsigned(op));
    EXPECT_EQ(m_ini.Save(out.c_str()), -1) << "op " << unsigned(op);
    faults::disarm();
  }
}

// Random documents against a model: names ignore case, the first spelling
// and the first value win, sections keep the order of first appearance; a
// saved document reads back the same.
TEST_F(IniFileTest, MatchesModelOnRandomDocuments) {
  std::mt19937 random(11);
  const auto pick = [&](const char* letters, size_t length) {
    std::string text;
    while (text.size() < length) text += letters[random() % std::strlen(letters)];
    return text;
  };
  const auto lower = [](std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
  };
  for (int round = 0; round < 20; ++round) {
    std::vector<std::pair<std::string, std::map<std::string, std::string>>> model;  // keys lowered
    size_t current = 0;
    std::string text;
    for (int line = 0; line < 300; ++line) {
      const unsigned kind = random() % 10;
      if (kind == 0) {
        text += "; " + pick("abc =[]", 5) + "\n";
      } else if (kind == 1 || model.empty()) {
        const std::string name = pick("aAbB", 2);
        text += "[" + name + "]\n";
        for (current = 0; current < model.size() && lower(model[current].first) != lower(name);) ++current;
        if (current == model.size()) model.emplace_back(name, std::map<std::string, std::string>());
      } else {
        const std::string key = pick("xXyYzZ", 2), val = pick("ab= \t", random() % 6);
        const bool spaced = random() % 2 != 0;
        text += key + (spaced ? " = " : "=") + val + "\n";
        // Only one blank behind the "=" goes.
        model[current].second.emplace(lower(key), !spaced && !val.empty() && val[0] == ' ' ? val.substr(1) : val);
      }
    }
    for (int pass = 0; pass < 2; ++pass) {
      IniFile ini;
      writeFile(m_file, text);
      ASSERT_EQ(ini.Load(m_file.c_str()), 0);
      ASSERT_EQ(ini.sectionCount(), model.size());
      auto* entry = ini.firstSection();
      for (const auto& [name, keys] : model) {
        EXPECT_EQ(entry->value.name, name);
        EXPECT_EQ(entry->value.keys.count(), keys.size());
        for (const auto& [key, val] : keys) {
          const char* found = ini.Value(&entry->value, key.c_str());
          EXPECT_EQ(std::string(found != nullptr ? found : "<none>"), val) << key;
        }
        entry = entry->next;
      }
      ASSERT_EQ(ini.Save(m_dir.file("round.ini").c_str()), 0);
      text = readFile(m_dir.file("round.ini"));
    }
  }
}

}  // namespace
}  // namespace quern
