#include <fcntl.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "bench/cases.h"
#include "bench/measure.h"
#include "bench/program.h"
#include "hana/common/environ_getter.h"
#include "hana/common/list_instances.h"
#include "platform/files/unique_fd.h"
#include "platform/process/process_options.h"
#include "sandbox/host.h"

namespace bench {
namespace {

// How many system calls `body` makes by itself, its children's left out, in a copy of this process.
double system_calls(const std::function<void()>& body) {
  const pid_t child = start_copy([&] {
    expect(::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0, "being traced");
    ::raise(SIGSTOP);
    body();
  });
  int status = 0;
  double stops = 0;
  expect(::waitpid(child, &status, 0) == child && WIFSTOPPED(status), "tracing");
  ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD);
  for (int signal = 0; ::ptrace(PTRACE_SYSCALL, child, nullptr, signal) == 0;) {
    expect(::waitpid(child, &status, 0) == child, "following");
    if (!WIFSTOPPED(status)) break;
    const bool is_call = WSTOPSIG(status) == (SIGTRAP | 0x80);
    stops += is_call ? 1 : 0;
    signal = is_call || WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status);
  }
  expect(WIFEXITED(status) && WEXITSTATUS(status) == 0, "what is traced");
  return stops / 2;  // on entry and on return
}

void list_instances() {
  sap_hana::System_Instance_Info_List instances;
  expect(sap_hana::System_Instance_Lister().list(instances) && instances.size() == 2, "listing instances");
}

// Each of the two has a version tool that runs as its administrator.
void look_users_up() {
  platform::Process_Options options;
  expect(options.setreugid("hxeadm") == 0 && options.setreugid("s1padm") == 0, "looking users up");
}

void read_environment(pid_t pid) {
  const platform::Unique_Fd file(::open(("/proc/" + std::to_string(pid) + "/environ").c_str(), O_RDONLY | O_CLOEXEC));
  char buffer[4096];
  bool read = false;
  while (::read(file.get(), buffer, sizeof(buffer)) > 0)
    read = true;
  expect(read, "reading the environment");
}

void race_environment(pid_t pid) {
  const auto ours = [pid] {
    sap_hana::HANA_Env_Value value;
    expect(sap_hana::Environ_Getter::instance()->get(pid, value), "getting the environment");
  };
  race_loops({"one environment", ours, {{"floor: read in pieces", [pid] { read_environment(pid); }, 1.5}}});
}

// With an option for something else than the report.
void report(const char* option) {
  ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
  ::execl(BENCH_HOST_REPORT, BENCH_HOST_REPORT, option, nullptr);
}

void start_with(const std::string& preloaded) {
  finish(start_program({"/usr/bin/env", preloaded, "/bin/true"}));
}

}  // namespace

void discovery() {
  const sandbox::Host host;
  const double nothing = system_calls([] {});
  // The system's own databases of users decide how many calls a look into them takes.
  const double look_ups = system_calls(look_users_up) - nothing;
  compare("list of two instances, beyond one look at each user", system_calls(list_instances) - nothing - look_ups,
          "system calls wanted", 200, 1, Unit::count);
  const double start = system_calls([] { report("--version"); });
  compare("gustaikrum-report, beyond its start and these looks",
          system_calls([] { report(nullptr); }) - start - look_ups, "system calls wanted", 700, 1, Unit::count);
  race_runs({"gustaikrum-report of the default host",
             [] { finish(start_program({BENCH_HOST_REPORT})); },
             {{"ps, grep, awk, ss in a shell",
               [] {
                 finish(start_program({"/bin/sh", BENCH_SHELL_REPORT}));
               },
               1}}},
            31);
  race_runs({"a program's start, with the library",
             [] { start_with("LD_PRELOAD=" BENCH_LIBRARY); },
             {{"without", [] { start_with("LD_PRELOAD="); }}}},
            31);
  race_environment(host.pid("HXE", "HDB90", "sapstartsrv"));
}

}  // namespace bench
