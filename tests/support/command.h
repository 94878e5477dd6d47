#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

namespace test {

struct Outcome {
  int status;
  std::string output;  // both streams
};

// Runs a shell command to its end.
inline Outcome run_command(const std::string& command) {
  Outcome outcome{-1, ""};
  FILE* const pipe = ::popen(("{ " + command + "; } 2>&1").c_str(), "re");
  if (pipe == nullptr) return outcome;
  std::array<char, 4096> buffer;
  while (const std::size_t got = std::fread(buffer.data(), 1, buffer.size(), pipe))
    outcome.output.append(buffer.data(), got);
  outcome.status = WEXITSTATUS(::pclose(pipe));
  return outcome;
}

}  // namespace test
