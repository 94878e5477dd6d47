#include "platform/process/process_ex.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/files/unique_fd.h"
#include "platform/process/activity_log.h"
#include "platform/process/spawn.h"
#include "platform/text/format.h"

namespace platform {
namespace {

// A large pipe lets the child and its reader run on without waiting for each other; a refusal costs speed only.
constexpr int PIPE_SIZE = 1024 * 1024;

struct Pipe {
  Unique_Fd reader;
  Unique_Fd writer;  // 3 or above, whatever descriptors the caller has closed
};

bool open_pipe(Pipe& pipe) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return false;
  pipe.reader.reset(ends[0]);
  pipe.writer.reset(ends[1]);
  if (ends[1] < 3) pipe.writer.reset(::fcntl(ends[1], F_DUPFD_CLOEXEC, 3));
  ::fcntl(ends[0], F_SETPIPE_SZ, PIPE_SIZE);
  return static_cast<bool>(pipe.writer);
}

std::string_view variable_name(const char* entry) {
  const char* const sign = std::strchr(entry, '=');
  return sign == nullptr ? std::string_view(entry) : std::string_view(entry, static_cast<std::size_t>(sign - entry));
}

// The variables set in the options, a later one over an earlier, and those that are inherited besides. Null-terminated.
std::vector<char*> environment_of(ACE_Process_Options& options) {
  std::map<std::string_view, char*> variables;
  for (char* const* entry = options.env_argv(); *entry != nullptr; ++entry)
    variables[variable_name(*entry)] = *entry;
  if (options.inherit_environment() && environ != nullptr) {
    for (char* const* entry = environ; *entry != nullptr; ++entry)
      variables.emplace(variable_name(*entry), *entry);
  }

  std::vector<char*> table;
  table.reserve(variables.size() + 1);
  for (const auto& [name, entry] : variables)
    table.push_back(entry);
  table.push_back(nullptr);
  return table;
}

constexpr auto UNCHANGED = static_cast<uid_t>(-1);

}  // namespace

ACE_Process_Ex::ACE_Process_Ex(unsigned int flags, const char*, ACE_Log_Msg_Callback_var callback)
    : flags_(flags), callback_(std::move(callback)) {}

ACE_Process_Ex::~ACE_Process_Ex() {
  close_pipes();
}

void ACE_Process_Ex::close_pipes() {
  const Unique_Fd output(take_stdout());
  const Unique_Fd error(take_stderr());
}

void ACE_Process_Ex::tell(ACE_Process_Options& options, const char* what, int error) const {
  try {
    const char* const program = options.command_line_buf() == nullptr ? nullptr : options.command_line_argv()[0];
    std::string text = "child";
    // Up to the first blank: an open quote in the program's path takes the arguments in, a password among them.
    if (program != nullptr) text = "'" + std::string(program, std::strcspn(program, " ")) + "'";
    text.append(" ").append(what);
    if (error != 0) text += ": " + std::generic_category().message(error);
    log_activity(callback_, text);
  } catch (const std::bad_alloc&) {
    log_activity(callback_, what);
  }
}

pid_t ACE_Process_Ex::spawn(Process_Options& options) try {
  if (options.fault().empty()) return start(options, options.groups());
  tell(options, snprintf_t<128>("cannot be started: %s", options.fault().c_str()).c_str());
  return -1;
} catch (const std::bad_alloc&) {
  return -1;  // only the record is lost
}

pid_t ACE_Process_Ex::spawn(ACE_Process_Options& options) {
  const bool changes_user = options.getruid() != UNCHANGED || options.geteuid() != UNCHANGED ||
                            options.getrgid() != UNCHANGED || options.getegid() != UNCHANGED;
  if (!changes_user) return start(options, {});
  errno = EPERM;
  tell(options, "cannot be started: its user was set without the groups");
  return -1;
}

pid_t ACE_Process_Ex::start(ACE_Process_Options& options, const std::vector<gid_t>& groups) {
  try {
    child_id_ = start_with_pipes(options, groups);
  } catch (const std::bad_alloc&) {
    child_id_ = -1;
    errno = ENOMEM;
  }
  if (child_id_ < 0) tell(options, "cannot be started", errno);
  return child_id_;
}

pid_t ACE_Process_Ex::start_with_pipes(ACE_Process_Options& options, const std::vector<gid_t>& groups) {
  const Child_Identity identity{options.getruid(), options.getrgid(), groups};
  const std::vector<char*> environment = environment_of(options);
  Spawn_Request request{options.command_line_argv(), environment.data()};
  if (identity.uid != UNCHANGED) request.identity = &identity;

  Pipe output;
  Pipe error;
  const bool takes_output = (flags_ & (REDIRECT_STDOUT | REDIRECT_STDOUT_STDERR)) != 0;
  const bool takes_error = (flags_ & (REDIRECT_STDERR | REDIRECT_STDOUT_STDERR)) != 0;
  const bool ready =
      request.arguments[0] != nullptr && (!takes_output || open_pipe(output)) && (!takes_error || open_pipe(error));
  request.standard_output = output.writer.get();
  request.standard_error = error.writer.get();

  const pid_t pid = ready ? start_child(request) : -1;
  if (pid >= 0) {
    close_pipes();
    stdout_ = output.reader.release();
    stderr_ = error.reader.release();
  }
  return pid;
}

}  // namespace platform
