// sandbox: runs a command on a simulated HANA host.

#include <getopt.h>
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
    "Usage: %1$s run [--host=FILE] [--bare] -- COMMAND [ARGUMENT...]\n"
    "  or:  %1$s shell [--host=FILE]\n"
    "  or:  %1$s probe\n"
    "Runs a command on a simulated SAP HANA host, which goes with it.\n"
    "\n"
    "  run           runs the command there and ends with its exit status\n"
    "  shell         opens a shell there\n"
    "  probe         tells how a sandbox would be entered on this machine; 1 if it cannot be\n"
    "\n"
    "  --host=FILE   the host's description instead of the default one; gustaikrum-report --record writes one\n"
    "  --bare        no host at all: the command builds its own; it cannot change the rest of the machine's files\n"
    "  -h, --help    show this and exit\n"
    "      --version show the version and exit\n"
    "\n"
    "Exit status: the command's, 128 and the number of the signal that ended it, 127 if it cannot be run, or 2 for a\n"
    "wrong call and where no sandbox is possible.\n";

// A wrong call; the text says what is wrong, unless getopt_long() has.
class Wrong_Call : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Request {
  std::string verb;
  std::string host_file;
  bool bare = false;
  std::vector<char*> command;  // with its terminating null
};

constexpr option OPTIONS[] = {{"host", required_argument, nullptr, 'f'},
                              {"bare", no_argument, nullptr, 'b'},
                              {"help", no_argument, nullptr, 'h'},
                              {"version", no_argument, nullptr, 'v'},
                              {}};

// Options stand before and after the verb, up to the command. What is asked for with --help is the verb "help".
Request parse(int argc, char** argv) {
  Request request;
  for (int found;;) {
    while ((found = ::getopt_long(argc, argv, "+h", OPTIONS, nullptr)) != -1) {
      if (found == 'f') request.host_file = optarg;
      if (found == 'b') request.bare = true;
      if (found == 'h' || found == 'v') return {found == 'h' ? "help" : "version", "", false, {}};
      if (found == '?') throw Wrong_Call("");
    }
    if (optind == argc || !request.verb.empty() || std::strcmp(argv[optind - 1], "--") == 0) break;
    request.verb = argv[optind++];
  }
  request.command.assign(argv + optind, argv + argc);
  if (request.verb != "run" && request.verb != "shell" && request.verb != "probe")
    throw Wrong_Call("run, shell or probe is needed");
  if (request.command.empty() && request.verb == "run") throw Wrong_Call("no command is given");
  if (!request.command.empty() && request.verb != "run")
    throw Wrong_Call("unexpected '" + std::string(request.command.front()) + "'");
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
  if (request.verb == "help") return std::printf(usage, program_invocation_short_name) < 0 ? 2 : 0;
  if (request.verb == "version")
    return std::printf("%s " GUSTAIKRUM_VERSION "\n", program_invocation_short_name) < 0 ? 2 : 0;
  return run_in_sandbox(request);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const int status = carry_out(parse(argc, argv));
    // No leak check: it would have to start a thread, which a process whose namespaces have lost their first process
    // cannot.
    std::fflush(nullptr);
    ::_exit(status);
  } catch (const Wrong_Call& wrong) {
    if (*wrong.what() != '\0') std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, wrong.what());
    std::fprintf(stderr, "Try '%s --help' for more information.\n", program_invocation_short_name);
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}
