// bench: the library's speed beside what a user would pick instead.

#include <ace/Log_Msg.h>
#include <ace/Version.h>
#include <curl/curl.h>
#include <gnu/libc-version.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <boost/version.hpp>

#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <string>

#include "bench/cases.h"
#include "bench/measure.h"

namespace {

const struct {
  const char* name;
  void (*run)();
} cases[] = {
    {"scan", bench::process_scan},
    {"start", bench::child_start},
    {"output", bench::child_output},
    {"names", bench::backup_names},
    {"json", bench::json_records},
    {"discovery", bench::discovery},
    // Last: their closed connections hold ports for a while.
    {"listening", bench::listening_check},
    {"http", bench::http_requests},
};

std::string processor() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);) {
    if (line.compare(0, 10, "model name") == 0) return line.substr(line.find(':') + 2);
  }
  return "unknown processor";
}

// Other work on the machine does not get in between then; children are run likewise.
bool run_before_others() {
  sched_param priority{};
  priority.sched_priority = 50;
  return ::sched_setscheduler(0, SCHED_FIFO, &priority) == 0;
}

// As far as this user may: what a database host's programs run with.
void raise_descriptor_limit() {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  std::ifstream("/proc/sys/fs/nr_open") >> limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

void print_machine(bool before_others) {
  utsname system{};
  ::uname(&system);
  std::printf("machine   %s, %ld cores, %ld MiB, Linux %s, %s\n", processor().c_str(), ::sysconf(_SC_NPROCESSORS_ONLN),
              ::sysconf(_SC_PHYS_PAGES) / 256, system.release,
              before_others ? "ahead of other work (SCHED_FIFO)" : "among other work");
  std::printf("versions  %s %s, glibc %s, Boost %s, ACE %s, curl %s\n", BENCH_COMPILER, BENCH_BUILD_TYPE,
              ::gnu_get_libc_version(), BOOST_LIB_VERSION, ACE_VERSION, ::curl_version_info(CURLVERSION_NOW)->version);
}

bool is_wanted(const char* name, char** wanted) {
  if (*wanted == nullptr) return true;
  for (; *wanted != nullptr; ++wanted) {
    if (std::strcmp(*wanted, name) == 0) return true;
  }
  return false;
}

void show_growth() {
  bench::print_growth_head();
  bench::process_growth();
  bench::line_growth();
  bench::record_growth();
  bench::connection_growth();
}

}  // namespace

// The arguments name the cases to run, or "growth"; without any, all cases are run.
int main(int, char** argv) {
  raise_descriptor_limit();
  print_machine(run_before_others());
  ACE_LOG_MSG->clr_flags(ACE_Log_Msg::STDERR);
  try {
    if (argv[1] != nullptr && std::strcmp(argv[1], "growth") == 0) {
      show_growth();
      return 0;
    }
    bench::print_table_head();
    for (const auto& c : cases) {
      if (is_wanted(c.name, argv + 1)) c.run();
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
