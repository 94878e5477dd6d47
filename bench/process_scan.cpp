#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>
#include <regex>
#include <string>
#include <vector>

#include "bench/cases.h"
#include "bench/measure.h"
#include "bench/program.h"
#include "platform/files/unique_fd.h"
#include "platform/process/service_lister.h"

namespace bench {
namespace {

constexpr std::size_t PROCESSES = 1'500;
constexpr std::size_t MATCHING = 5;
constexpr char PATTERN[] = "/usr/sap/HXE/HDB[0-9][0-9]/exe/sapstartsrv";

// Idle processes with command lines of the usual length.
class Idle_Processes {
 public:
  Idle_Processes() {
    for (std::size_t i = 0; i < PROCESSES; ++i) {
      const std::string number = std::to_string(10 + i);
      const std::string program = i % (PROCESSES / MATCHING) == 0
                                      ? "/usr/sap/HXE/HDB" + number.substr(0, 2) + "/exe/sapstartsrv"
                                      : "/usr/lib/worker/bin/worker --pool=ordinary --socket=/run/worker/" + number;
      processes_.push_back(start_program({program, "infinity"}, -1, "/bin/sleep"));
    }
  }
  ~Idle_Processes() {
    for (const pid_t process : processes_)
      end(process);
  }
  Idle_Processes(const Idle_Processes&) = delete;
  Idle_Processes& operator=(const Idle_Processes&) = delete;

 private:
  std::vector<pid_t> processes_;
};

void ours() {
  std::list<platform::Service_Info> found;
  expect(platform::Service_Lister().list_service(PATTERN, found, false, "") == 0, "listing processes");
  expect(found.size() == MATCHING, "finding the processes");
}

// The directory and every command line read, and nothing looked at.
void floor() {
  DIR* const proc = ::opendir("/proc");
  expect(proc != nullptr, "opening /proc");
  static char buffer[64 * 1024];
  std::size_t read = 0;
  while (const dirent* entry = ::readdir(proc)) {
    if (entry->d_name[0] < '0' || entry->d_name[0] > '9') continue;
    const std::string path = std::string(entry->d_name) + "/cmdline";
    const platform::Unique_Fd file(::openat(::dirfd(proc), path.c_str(), O_RDONLY | O_CLOEXEC));
    if (::read(file.get(), buffer, sizeof(buffer)) > 0) ++read;
  }
  ::closedir(proc);
  expect(read >= PROCESSES, "reading the processes");
}

void standard_library() {
  const std::regex pattern(PATTERN);
  std::size_t found = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::ifstream file(entry.path() / "cmdline");
    std::string line{std::istreambuf_iterator<char>(file), {}};
    std::replace(line.begin(), line.end(), '\0', ' ');
    if (std::regex_search(line, pattern)) ++found;
  }
  expect(found == MATCHING, "finding the processes");
}

}  // namespace

void process_scan() {
  const Idle_Processes processes;
  race_runs({"scan of 1,500 processes",
             ours,
             {{"floor: the files opened and read", floor, 1.15},
              {"pgrep -f",
               [] {
                 finish(start_program({"/usr/bin/pgrep", "-f", PATTERN}));
               },
               1.0 / 8},
              {"directory_iterator, ifstream, regex", standard_library}}},
            31);
}

}  // namespace bench
