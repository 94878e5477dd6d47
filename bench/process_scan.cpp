#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <list>
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
constexpr char PATTERN[] = "HXE.*exe/sapstartsrv";
constexpr char ORDINARY[] = "/usr/lib/worker/bin/worker --pool=ordinary --socket=/run/worker/";

// Idle processes of this name, but for the few that are looked for.
class Idle_Processes {
 public:
  Idle_Processes(std::size_t count, const std::string& name) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::string number = std::to_string(10 + i);
      const std::string program = i % (count / MATCHING) == 0 && i / (count / MATCHING) < MATCHING
                                      ? "/usr/sap/HXE/HDB" + number.substr(0, 2) + "/exe/sapstartsrv"
                                      : name + number;
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

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (; times > 0; --times)
    all += text;
  return all;
}

void list(std::size_t expected) {
  std::list<platform::Service_Info> found;
  expect(platform::Service_Lister().list_service(PATTERN, found, false, "") == 0, "listing processes");
  expect(found.size() == expected, "finding the processes");
}

// The directory and every command line read, and nothing looked at.
void floor(std::size_t processes) {
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
  expect(read >= processes, "reading the processes");
}

}  // namespace

void process_scan() {
  const Idle_Processes processes(PROCESSES, ORDINARY);
  race_runs({"scan of 1,500 processes",
             [] { list(MATCHING); },
             {{"floor: the files opened and read", [] { floor(PROCESSES); }, 1.15}}},
            31);
}

void process_growth() {
  const std::string hostile = repeated("HXEexe/", 585);
  for (const std::size_t count : {100, 300, 1'000, 3'000, 10'000}) {
    const Idle_Processes processes(count, ORDINARY);
    grow("processes scanned", count, [] { list(MATCHING); });
  }
  for (const std::size_t count : {30, 100, 300, 1'000}) {
    const Idle_Processes processes(count, hostile);
    grow("hostile processes scanned", count, [] { list(MATCHING); });
  }
}

}  // namespace bench
