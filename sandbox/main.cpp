// sandbox: runs a command on a simulated HANA host.

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "sandbox/host.h"
#include "sandbox/namespaces.h"

namespace {

constexpr const char* usage =
    "usage: sandbox run [--host FILE] [--bare] -- COMMAND [ARGUMENT...]\n"
    "       sandbox shell [--host FILE]\n"
    "       sandbox probe\n"
    "\n"
    "run    runs the command on a simulated HANA host and ends with its exit status\n"
    "shell  opens a shell there\n"
    "probe  tells how a sandbox would be entered on this machine\n"
    "\n"
    "--host FILE  the host's description instead of the default one (see docs/sandbox.md)\n"
    "--bare       no host at all: the command builds its own; it cannot change the rest of the machine's files\n";

struct Request {
  std::string verb;
  std::string host_file;
  bool bare = false;
  std::vector<char*> command;  // with its terminating null
};

Request parse(char** argv) {
  Request request;
  if (*++argv == nullptr) throw std::invalid_argument(usage);
  request.verb = *argv++;
  for (; *argv != nullptr && std::strcmp(*argv, "--") != 0; ++argv) {
    const std::string option = *argv;
    if (option == "--bare") {
      request.bare = true;
    } else if (option == "--host" && argv[1] != nullptr) {
      request.host_file = *++argv;
    } else {
      throw std::invalid_argument(usage);
    }
  }
  if (*argv != nullptr) ++argv;
  for (; *argv != nullptr; ++argv)
    request.command.push_back(*argv);
  if (request.command.empty() != (request.verb != "run")) throw std::invalid_argument(usage);
  return request;
}

std::string read_host_file(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  if (!(text << file.rdbuf())) throw std::runtime_error("sandbox: cannot read " + path);
  return text.str();
}

int run_command(std::vector<char*> command) {
  command.push_back(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::execvp(command[0], command.data());
    std::perror(command[0]);
    ::_exit(127);
  }
  int status = 1;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

const char* describe(sandbox::Way way) {
  switch (way) {
    case sandbox::Way::namespaces:
      return "in private namespaces, as root";
    case sandbox::Way::one_user:
      return "in private namespaces, as an ordinary user: what needs a second user is not possible";
    case sandbox::Way::plain:
      return "in this machine's own /usr/sap, one sandbox at a time, because namespaces are refused";
    case sandbox::Way::none:
      break;
  }
  return "not possible here";
}

sandbox::Way probe_or_throw() {
  std::string reason;
  const sandbox::Way way = sandbox::probe(reason);
  if (way == sandbox::Way::none)
    throw std::runtime_error("no sandbox possible here: " + reason +
                             "\nrun as root, or where user namespaces are allowed");
  if (way == sandbox::Way::plain) std::fprintf(stderr, "sandbox: %s (%s)\n", describe(way), reason.c_str());
  return way;
}

int run_in_sandbox(const Request& request) {
  const std::string description =
      request.host_file.empty() ? sandbox::default_description() : read_host_file(request.host_file);
  static char shell[] = "/bin/bash";
  const std::vector<char*> command = request.command.empty() ? std::vector<char*>{shell} : request.command;
  return sandbox::run_inside(probe_or_throw(), {".", "/proc/self/exe", command[0]}, request.bare, [&] {
    std::unique_ptr<sandbox::Host> host;
    if (!request.bare) host = std::make_unique<sandbox::Host>(description);
    return run_command(command);
  });
}

int carry_out(const Request& request) {
  if (request.verb == "probe") {
    std::string reason;
    const sandbox::Way way = sandbox::probe(reason);
    std::printf("%s%s%s\n", describe(way), reason.empty() ? "" : ": ", reason.c_str());
    return way == sandbox::Way::none ? 1 : 0;
  }
  if (request.verb == "run" || request.verb == "shell") return run_in_sandbox(request);
  throw std::invalid_argument(usage);
}

}  // namespace

int main(int, char** argv) {
  try {
    const int status = carry_out(parse(argv));
    // No leak check: it would have to start a thread, which a process whose namespaces have lost their first process
    // cannot.
    std::fflush(nullptr);
    ::_exit(status);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}
