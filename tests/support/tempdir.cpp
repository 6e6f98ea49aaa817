#include "support/tempdir.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

namespace quern::test {

namespace fs = std::filesystem;

TempDir::TempDir() {
  static std::atomic<unsigned> counter{0};
  std::random_device entropy;
  for (int attempt = 0; attempt < 100; ++attempt) {
    const fs::path candidate = fs::temp_directory_path() / ("quern-test-" + std::to_string(entropy()) + "-" +
                                                            std::to_string(counter++));
    std::error_code error;
    if (fs::create_directory(candidate, error)) {
      m_path = candidate.generic_string();
      return;
    }
  }
  throw std::runtime_error("cannot create a temporary directory");
}

TempDir::~TempDir() {
  std::error_code error;
  fs::remove_all(m_path, error);
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

std::string textFile(const std::string& text) {
  static const std::string newline = [] {
    const TempDir dir;
    const std::string probe = dir.file("probe");
    std::ofstream(probe) << '\n';
    return readFile(probe);
  }();
  std::string result;
  for (char c : text) result += c == '\n' ? newline : std::string(1, c);
  return result;
}

}  // namespace quern::test
