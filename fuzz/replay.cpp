// Runs every input of the corpus, "<directory>/<target>/<file>", once: each that broke something stays mended.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/fuzz.h"

int main(int argc, char** argv) {
  int inputs = 0;
  for (const auto& directory : std::filesystem::directory_iterator(argc > 1 ? argv[1] : ".")) {
    const fuzz::Target target = fuzz::find_target(directory.path().filename().c_str());
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string input{std::istreambuf_iterator<char>(file), {}};
      std::printf("%s\n", entry.path().c_str());
      std::fflush(stdout);
      target(input);
      ++inputs;
    }
  }
  return inputs > 0 ? 0 : 1;
}
