#include <ace/Process.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <string>
#include <vector>

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

void ace_process() {
  ACE_Process_Options options;
  options.handle_inheritance(0);
  options.command_line("%s", PROGRAM);
  ACE_Process process;
  const pid_t child = process.spawn(options);
  expect(child > 0 && process.wait() == child && process.exit_code() == 0, "ACE's child");
}

// In turns too: a machine's pace drifts more than this cost does.
void race_sizes(const std::string& name, std::size_t size) {
  std::vector<double> large, small;
  for (int round = 0; round < 11; ++round) {
    {
      const Ballast ballast(size);
      ours();  // warms up
      large.push_back(seconds_of(ours));
    }
    ours();
    small.push_back(seconds_of(ours));
  }
  compare(name, median(large), "the same from a caller of 0 MiB", median(small), 1.3);
}

}  // namespace

void child_start() {
  constexpr std::size_t MIB = 1 << 20;
  rlimit highest{};
  ::getrlimit(RLIMIT_NOFILE, &highest);
  for (const rlim_t limit : {rlim_t{1024}, highest.rlim_max}) {
    const Descriptor_Limit descriptor_limit(limit);
    const auto name = [&](std::size_t mib) {
      return "child, caller of " + std::to_string(mib) + " MiB, limit " + std::to_string(limit);
    };
    for (const std::size_t mib : {0, 512, 2048}) {
      const Ballast ballast(mib * MIB);
      race_runs(
          {name(mib),
           ours,
           {{"posix_spawn", [] { finish(start_program({PROGRAM})); }, 1.15}, {"ACE_Process::spawn", ace_process}}},
          ROUNDS);
    }
    race_sizes(name(2048), 2048 * MIB);
  }
}

}  // namespace bench
