#include "sandbox/processes.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <system_error>
#include <thread>

#include "platform/files/unique_fd.h"
#include "sandbox/paths.h"

namespace sandbox {

namespace {

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts)
    result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

int wait_for(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return 0;  // reaped already: this program ignores its children's ends
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool gone(pid_t pid) {
  return ::kill(pid, 0) != 0 && errno == ESRCH;
}

// The pid of the parent, from the fourth field of /proc/PID/stat; the second may hold blanks and parentheses.
pid_t parent_of(const std::string& pid) {
  std::ifstream file("/proc/" + pid + "/stat");
  std::string stat;
  std::getline(file, stat);
  const std::size_t name_end = stat.rfind(") ");
  if (name_end == std::string::npos || name_end + 4 >= stat.size()) return 0;
  return static_cast<pid_t>(std::strtol(stat.c_str() + name_end + 4, nullptr, 10));
}

void kill_children() {
  const std::unique_ptr<DIR, int (*)(DIR*)> proc(::opendir("/proc"), &::closedir);
  if (proc == nullptr) return;
  while (const dirent* entry = ::readdir(proc.get())) {
    const std::string name = entry->d_name;
    if (name.find_first_not_of("0123456789") == std::string::npos && parent_of(name) == ::getpid())
      ::kill(static_cast<pid_t>(std::strtol(name.c_str(), nullptr, 10)), SIGKILL);
  }
}

void add_closing(posix_spawn_file_actions_t& actions, int first) {
#if __GLIBC_PREREQ(2, 34)
  ::posix_spawn_file_actions_addclosefrom_np(&actions, first);
#else
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int fd = std::stoi(entry.path().filename());
    if (fd >= first) ::posix_spawn_file_actions_addclose(&actions, fd);
  }
#endif
}

}  // namespace

int run(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
        const std::string& log) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawnattr_init(&attributes);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
  ::posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  add_closing(actions, STDERR_FILENO + 1);
  sigset_t none;
  sigset_t all;
  ::sigemptyset(&none);
  ::sigfillset(&all);
  ::posix_spawnattr_setsigmask(&attributes, &none);
  ::posix_spawnattr_setsigdefault(&attributes, &all);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

  pid_t pid = 0;
  const int error = ::posix_spawnp(&pid, arguments.front().c_str(), &actions, &attributes, pointers(arguments).data(),
                                   pointers(environment).data());
  ::posix_spawn_file_actions_destroy(&actions);
  ::posix_spawnattr_destroy(&attributes);
  if (error != 0) throw std::system_error(error, std::generic_category(), arguments.front());
  return wait_for(pid);
}

pid_t running_pid(const std::string& pid_file) {
  std::ifstream file(pid_file);
  pid_t pid = 0;
  if (!(file >> pid) || pid <= 0) return 0;
  // The number may have gone to another process since.
  std::ifstream command_line("/proc/" + std::to_string(pid) + "/cmdline");
  std::string program;
  std::getline(command_line, program, '\0');
  return program.rfind("/usr/sap/", 0) == 0 ? pid : 0;
}

void end_recorded() {
  std::error_code error;
  for (std::filesystem::recursive_directory_iterator entry(state_dir, error), last; !error && entry != last;
       entry.increment(error)) {
    if (entry->path().extension() != ".pid") continue;
    const pid_t process = running_pid(entry->path());
    if (process != 0) end(process, SIGKILL);
  }
}

bool end(pid_t pid, int signal) {
  constexpr int limit_ms = 10000;
  const platform::Unique_Fd process(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
  if (!process && errno == ESRCH) return true;
  ::kill(pid, signal);
  pollfd ended{process.get(), POLLIN, 0};
  if (process) ::poll(&ended, 1, limit_ms);
  // Dead is not yet gone: the process that has to reap it may take a moment.
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(limit_ms);
  while (!gone(pid)) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

void kill_descendants() {
  for (;;) {
    kill_children();
    if (::waitpid(-1, nullptr, 0) < 0 && errno == ECHILD) return;
  }
}

}  // namespace sandbox
