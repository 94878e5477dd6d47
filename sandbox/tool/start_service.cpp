#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "sandbox/paths.h"
#include "sandbox/tool/tool.h"
#include "sandbox/tool/user.h"

namespace sandbox {

namespace {

// Tells the program that it has become what it is to be; it starts itself anew for the sake of /proc/PID/environ.
constexpr const char* ready_mark = "SANDBOX_READY=1";

bool has(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

std::string option(const Arguments& arguments, const std::string& name) {
  for (std::size_t i = 1; i + 1 < arguments.size(); ++i) {
    if (arguments[i] == name) return arguments[i + 1];
  }
  return {};
}

std::string profile_of(const Arguments& arguments) {
  for (const std::string& argument : arguments) {
    if (has(argument, "pf=")) return argument.substr(3);
  }
  throw std::runtime_error("no profile given (pf=...)");
}

// "SETENV_07 = NAME=VALUE" gives "NAME=VALUE".
std::vector<std::string> environment_of(const std::string& profile) {
  std::ifstream file(profile);
  if (!file) throw std::runtime_error("cannot read " + profile);
  std::vector<std::string> environment;
  std::string line;
  while (std::getline(file, line)) {
    const std::size_t equals = line.find(" = ");
    if (has(line, "SETENV_") && equals != std::string::npos) environment.push_back(line.substr(equals + 3));
  }
  return environment;
}

[[noreturn]] void start_anew(char** argv, std::vector<std::string> environment) {
  environment.emplace_back(ready_mark);
  std::vector<char*> pointers;
  for (std::string& entry : environment)
    pointers.push_back(entry.data());
  pointers.push_back(nullptr);
  ::execve(argv[0], argv, pointers.data());
  throw std::runtime_error("cannot start anew");
}

bool ready() {
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (std::string(*entry) == ready_mark) return true;
  }
  return false;
}

}  // namespace

int run_start_service(const Arguments& arguments, char** argv) {
  const Place place = place_of(arguments[0]);
  if (!ready()) {
    const std::string profile = profile_of(arguments);
    become(option(arguments, "-u"), profile);
    start_anew(argv, environment_of(profile));
  }
  if (!stay_behind(pid_file(place.sid, place.instance, place.program))) return 0;
  for (;;)
    ::pause();
}

}  // namespace sandbox
