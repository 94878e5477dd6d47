#include "platform/process/service_lister.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/regex.hpp>
#include <cerrno>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/files/directory_stream.h"
#include "platform/files/unique_fd.h"
#include "platform/log/log.h"
#include "platform/process/command_line.h"
#include "platform/text/format.h"
#include "platform/text/natoi.h"
#include "platform/users/accounts.h"

namespace platform {
namespace {

// Bytes; a start service's path and its first arguments. The time of a search can grow with the square of the length,
// and any local user may run processes with long command lines, any number of them.
constexpr std::size_t COMMAND_LINE_LIMIT = 4UL * 1024;

std::optional<boost::regex> compile(const char* pattern) {
  if (pattern == nullptr) return std::nullopt;
  try {
    return boost::regex(pattern);
  } catch (const std::exception& error) {
    log_debug("Failed to compile '%s': %s\n", pattern, error.what());
    return std::nullopt;
  }
}

// The numbers among the entries of "/proc", ascending. Nothing with errno if they cannot be read, and if there is not
// even this process's own: then something else is mounted there.
std::optional<std::vector<pid_t>> list_pids(const Directory_Stream& proc) {
  std::vector<pid_t> pids;
  pids.reserve(1024);
  while (const dirent* entry = next_entry(proc)) {
    const char* stop = nullptr;
    const pid_t pid = natoi<pid_t>(entry->d_name, nullptr, &stop);
    if (errno == 0 && *stop == '\0') pids.push_back(pid);
  }
  if (errno != 0) return std::nullopt;
  errno = ENOENT;
  if (pids.empty()) return std::nullopt;
  std::sort(pids.begin(), pids.end());
  return pids;
}

// Reads the command lines of processes, one after the other, into one buffer.
class Command_Line_Reader {
 public:
  explicit Command_Line_Reader(int proc) : proc_(proc) {}

  // The command line of a process, valid until the next read; empty if it has none or has vanished. Nothing with errno
  // if it cannot be told.
  std::optional<std::string_view> read(pid_t pid) {
    const snprintf_t<32> path("%d/cmdline", static_cast<int>(pid));
    const Unique_Fd file(::openat(proc_, path.c_str(), O_RDONLY | O_CLOEXEC));
    ssize_t length = -1;
    if (file) {
      do {
        length = ::read(file.get(), buffer_.data(), buffer_.size());
      } while (length < 0 && errno == EINTR);
    }
    if (length < 0) return is_hidden_or_gone(errno) ? std::optional(std::string_view()) : std::nullopt;
    return join_arguments(buffer_.data(), static_cast<std::size_t>(length));
  }

 private:
  static bool is_hidden_or_gone(int error) {
    return error == ENOENT || error == ESRCH || error == EACCES || error == EPERM;
  }

  int proc_;
  std::array<char, COMMAND_LINE_LIMIT> buffer_;
};

// Nothing if the process has vanished.
std::optional<std::string> owner_of(int proc, pid_t pid) {
  struct stat status {};
  if (::fstatat(proc, std::to_string(pid).c_str(), &status, 0) != 0) return std::nullopt;
  return user_name(status.st_uid);
}

}  // namespace

int Service_Lister::list_service(const char* pattern, std::list<Service_Info>& services, bool, const char*) const {
  const std::optional<boost::regex> compiled = compile(pattern);
  if (!compiled) return -1;

  const Directory_Stream proc = open_directory(AT_FDCWD, "/proc");
  const std::optional<std::vector<pid_t>> pids = proc ? list_pids(proc) : std::nullopt;
  if (!pids) {
    log_debug("Failed to list the processes: %m\n");
    return -1;
  }

  std::list<Service_Info> found;
  Command_Line_Reader reader(::dirfd(proc.get()));
  for (const pid_t pid : *pids) {
    const std::optional<std::string_view> command_line = reader.read(pid);
    if (!command_line) {
      log_debug("Failed to read the command line of process %d: %m\n", static_cast<int>(pid));
      return -1;
    }
    if (command_line->empty() || !is_in_command_line(*compiled, *command_line)) continue;
    if (std::optional<std::string> owner = owner_of(::dirfd(proc.get()), pid)) {
      found.push_back({std::string(*command_line), std::move(*owner), pid});
    }
  }
  services.splice(services.end(), found);
  return 0;
}

}  // namespace platform
