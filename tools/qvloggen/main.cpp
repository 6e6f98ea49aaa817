// qvloggen: writes a generated qvlog file with its INI files and sidecar.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "options.h"
#include "qvloggen.h"

int main(int argc, char** argv) {
  using namespace quern::qvloggen;
  const std::vector<std::string> args(argv + 1, argv + argc);
  if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
    std::printf("usage: qvloggen [options]\n%s", optionsHelp());
    return 0;
  }
  Options options;
  std::string dir = "qvlog-sample";
  std::string error;
  if (!parseOptions(args, options, dir, error)) {
    std::fprintf(stderr, "qvloggen: %s\nusage: qvloggen [options]\n%s", error.c_str(), optionsHelp());
    return 2;
  }
  try {
    const Summary summary = generate(options, dir);
    std::printf("%s: %llu bytes, %llu blocks, %llu frames (%llu hidden)\n", summary.logPath.c_str(),
                static_cast<unsigned long long>(summary.bytes),
              static_cast<unsigned long long>(summary.blocks.size()),
                static_cast<unsigned long long>(summary.frames), static_cast<unsigned long long>(summary.hidden));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "qvloggen: %s\n", failure.what());
    return 1;
  }
  return 0;
}
