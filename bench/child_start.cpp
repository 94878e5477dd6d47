#include <ace/Process.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <string>

#include "bench/cases.h"
#include "bench/measure.h"
#include "bench/program.h"
#include "platform/process/subprocess.h"

namespace bench {
namespace {

constexpr char PROGRAM[] = "/bin/true";
constexpr int ROUNDS = 60;

// Makes this process as large as a caller may be: memory that is all in use, in pages of the ordinary size.
class Ballast {
 public:
  explicit Ballast(std::size_t size) : size_(size) {
    if (size == 0) return;
    memory_ = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    expect(memory_ != MAP_FAILED, "memory");
    ::madvise(memory_, size, MADV_NOHUGEPAGE);
    for (std::size_t i = 0; i < size; i += 4096)
      static_cast<char*>(memory_)[i] = 1;
  }
  ~Ballast() {
    if (size_ > 0) ::munmap(memory_, size_);
  }
  Ballast(const Ballast&) = delete;
  Ballast& operator=(const Ballast&) = delete;

 private:
  std::size_t size_;
  void* memory_ = nullptr;
};

class Descriptor_Limit {
 public:
  explicit Descriptor_Limit(rlim_t limit) {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit wanted{limit, before_.rlim_max};
    expect(::setrlimit(RLIMIT_NOFILE, &wanted) == 0, "descriptor limit");
  }
  ~Descriptor_Limit() { ::setrlimit(RLIMIT_NOFILE, &before_); }
  Descriptor_Limit(const Descriptor_Limit&) = delete;
  Descriptor_Limit& operator=(const Descriptor_Limit&) = delete;

 private:
  rlimit before_{};
};

void ours() {
  platform::Process_Options options;
  options.command_line("%s", PROGRAM);
  expect(platform::subprocess::call(options, nullptr) == 0, "our child");
}

void fork_and_exec() {
  const pid_t child = ::fork();
  if (child == 0) {
    ::execl(PROGRAM, PROGRAM, nullptr);
    ::_exit(127);
  }
  finish(child);
}

void ace_process() {
  ACE_Process_Options options;
  options.handle_inheritance(0);
  options.command_line("%s", PROGRAM);
  ACE_Process process;
  const pid_t child = process.spawn(options);
  expect(child > 0 && process.wait() == child && process.exit_code() == 0, "ACE's child");
}

}  // namespace

void child_start() {
  constexpr std::size_t MIB = 1 << 20;
  rlimit highest{};
  ::getrlimit(RLIMIT_NOFILE, &highest);
  for (const rlim_t limit : {rlim_t{1024}, highest.rlim_max}) {
    const Descriptor_Limit descriptor_limit(limit);
    double smallest = 0;
    for (const std::size_t size : {0 * MIB, 512 * MIB, 2048 * MIB}) {
      const Ballast ballast(size);
      const std::string name =
          "child, caller of " + std::to_string(size / MIB) + " MiB, limit " + std::to_string(limit);
      const double taken = race_runs({name,
                                      ours,
                                      {{"posix_spawn", [] { finish(start_program({PROGRAM})); }, 1.15},
                                       {"fork, exec", fork_and_exec},
                                       {"ACE_Process::spawn", ace_process}}},
                                     ROUNDS);
      if (size == 0) smallest = taken;
      if (size == 2048 * MIB) compare(name, taken, "the same from a caller of 0 MiB", smallest, 1.3);
    }
  }
}

}  // namespace bench
