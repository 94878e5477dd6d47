// One program for sapstartsrv, hdbsql and the database's servers: it is whichever its own name says.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string>

#include "sandbox/paths.h"
#include "sandbox/tool/tool.h"

namespace sandbox {

Place place_of(const std::string& program_path) {
  std::vector<std::string> parts;
  for (std::size_t begin = 0; begin < program_path.size();) {
    const std::size_t slash = std::min(program_path.find('/', begin), program_path.size());
    if (slash > begin) parts.push_back(program_path.substr(begin, slash - begin));
    begin = slash + 1;
  }
  // usr, sap, SID, instance, exe, program; the host agent has no instance.
  if (parts.size() == 6) return {parts[2], parts[3], parts[5]};
  if (parts.size() == 5) return {parts[2], "", parts[4]};
  return {"", "", parts.empty() ? "" : parts.back()};
}

bool stay_behind(const std::string& pid_file) {
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child == 0) {
    ::setsid();
    return true;
  }
  std::ofstream(pid_file, std::ios::trunc) << child << "\n";
  return false;
}

}  // namespace sandbox

namespace {

int play(char** argv) {
  const sandbox::Arguments arguments(argv, [argv] {
    char** end = argv;
    while (*end != nullptr)
      ++end;
    return end;
  }());
  const std::string program = sandbox::place_of(arguments.at(0)).program;
  const std::string instead = arguments[0] + ".override";
  // For faults: whatever has to be printed or waited for can be a script. It reaches this program with the variable.
  if (std::getenv("SANDBOX_NO_OVERRIDE") == nullptr && ::access(instead.c_str(), X_OK) == 0)
    ::execv(instead.c_str(), argv);
  if (program == "sapstartsrv") return sandbox::run_start_service(arguments, argv);
  if (program == "hdbsql") return sandbox::run_hdbsql(arguments);
  return sandbox::run_server(arguments);
}

}  // namespace

int main(int, char** argv) {
  try {
    return play(argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
  }
}
