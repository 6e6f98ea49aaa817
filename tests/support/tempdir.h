// A fresh directory for one test, removed with everything in it at the end.
#pragma once

#include <stdexcept>
#include <string>

namespace quern::test {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return m_path; }
  // `path()` + "/" + name.
  std::string file(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

// Whole-file helpers for tests.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);
// What a file written in text mode holds for `text`: "\n" is "\r\n" on Windows.
std::string textFile(const std::string& text);

// The text of the runtime error that `action` raises, or "no failure"; a
// logic error is no expected failure and escapes.
template <typename Action>
std::string failureText(Action&& action) {
  try {
    action();
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "no failure";
}

}  // namespace quern::test
