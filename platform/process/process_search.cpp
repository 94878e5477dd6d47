#include "platform/process/process_search.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "platform/files/directory_stream.h"
#include "platform/files/unique_fd.h"
#include "platform/log/log.h"
#include "platform/process/command_line.h"
#include "platform/text/format.h"
#include "platform/text/natoi.h"

namespace platform {
namespace {

// Bytes of a command line; the most that the kernel takes as one argument, so that a program's path is never cut.
constexpr std::size_t COMMAND_LINE_LIMIT = 128UL * 1024;

std::optional<Command_Line_Pattern> compile(const char* pattern) {
  if (pattern == nullptr) return std::nullopt;
  try {
    return Command_Line_Pattern(pattern);
  } catch (const std::runtime_error& error) {
    log_debug("Failed to compile '%s': %s\n", pattern, error.what());
    return std::nullopt;
  }
}

// The numbers among the entries of "/proc", ascending.
struct Pid_List {
  std::vector<pid_t> pids;
  int error = 0;  // why they could not be read; ENOENT if not even this process's own is there
};

Pid_List list_pids() {
  Pid_List list;
  list.pids.reserve(1024);
  const Directory_Stream proc = open_directory(AT_FDCWD, "/proc");
  if (!proc) {
    list.error = errno;
    return list;
  }
  while (const dirent* entry = next_entry(proc)) {
    const char* stop = nullptr;
    const pid_t pid = natoi<pid_t>(entry->d_name, nullptr, &stop);
    if (errno == 0 && *stop == '\0') list.pids.push_back(pid);
  }
  list.error = errno != 0 ? errno : list.pids.empty() ? ENOENT : 0;
  std::sort(list.pids.begin(), list.pids.end());
  return list;
}

// Reads the command lines of processes, one after the other, into one buffer.
class Command_Line_Reader {
 public:
  explicit Command_Line_Reader(int proc) : proc_(proc) {}

  // The command line of a process, valid until the next read; empty if it has none or has vanished. Nothing with errno
  // if it cannot be told.
  std::optional<std::string_view> read(pid_t pid) {
    const snprintf_t<32> path("%d/cmdline", static_cast<int>(pid));
    const Unique_Fd file = open_at(proc_, path.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t length = file ? read_some(file.get(), buffer_.data(), buffer_.size()) : -1;
    if (length < 0) return is_hidden_or_gone(errno) ? std::optional(std::string_view()) : std::nullopt;
    return join_arguments(buffer_.data(), static_cast<std::size_t>(length));
  }

 private:
  int proc_;
  std::vector<char> buffer_ = std::vector<char>(COMMAND_LINE_LIMIT);
};

}  // namespace

bool is_hidden_or_gone(int error) {
  return error == ENOENT || error == ESRCH || error == EACCES || error == EPERM;
}

bool find_processes(const char* pattern, std::list<Service_Info>& processes) {
  const std::optional<Command_Line_Pattern> compiled = compile(pattern);
  if (!compiled) return false;

  const Unique_Fd proc = open_at(AT_FDCWD, "/proc", O_PATH | O_DIRECTORY | O_CLOEXEC);
  const Pid_List listed = list_pids();
  if (!proc || listed.error != 0) {
    if (proc) errno = listed.error;
    log_debug("Failed to list the processes: %m\n");
    return false;
  }

  std::list<Service_Info> found;
  Command_Line_Reader reader(proc.get());
  for (const pid_t pid : listed.pids) {
    const std::optional<std::string_view> command_line = reader.read(pid);
    if (!command_line) {
      log_debug("Failed to read the command line of process %d: %m\n", static_cast<int>(pid));
      return false;
    }
    if (!command_line->empty() && compiled->is_in(*command_line))
      found.push_back({std::string(*command_line), std::string(), pid});
  }
  processes.splice(processes.end(), found);
  return true;
}

}  // namespace platform
