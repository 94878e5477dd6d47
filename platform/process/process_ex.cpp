#include "platform/process/process_ex.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/process/activity_log.h"
#include "platform/process/spawn.h"

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
  const Unique_Fd writer(ends[1]);
  pipe.writer.reset(::fcntl(writer.get(), F_DUPFD_CLOEXEC, 3));
  ::fcntl(ends[0], F_SETPIPE_SZ, PIPE_SIZE);
  return static_cast<bool>(pipe.writer);
}

std::string_view variable_name(const char* entry) {
  const char* const sign = std::strchr(entry, '=');
  return sign == nullptr ? std::string_view(entry) : std::string_view(entry, static_cast<std::size_t>(sign - entry));
}

// Appends the variables of `entries` that the table does not hold yet.
void add_variables(char* const* entries, std::vector<char*>& table) {
  for (const std::size_t before = table.size(); *entries != nullptr; ++entries) {
    const std::string_view name = variable_name(*entries);
    bool known = false;
    for (std::size_t i = 0; i < before && !known; ++i)
      known = variable_name(table[i]) == name;
    if (!known) table.push_back(*entries);
  }
}

// The variables set in the options, a later one over an earlier, then those that are inherited.
std::vector<char*> environment_of(ACE_Process_Options& options) {
  std::vector<char*> own;
  for (char* const* entry = options.env_argv(); *entry != nullptr; ++entry)
    own.insert(own.begin(), *entry);
  own.push_back(nullptr);

  std::vector<char*> table;
  for (char* const* entry = own.data(); *entry != nullptr; ++entry) {
    char* const one[] = {*entry, nullptr};
    add_variables(one, table);
  }
  if (options.inherit_environment() && environ != nullptr) add_variables(environ, table);
  table.push_back(nullptr);
  return table;
}

constexpr auto UNCHANGED = static_cast<uid_t>(-1);

}  // namespace

ACE_Process_Ex::ACE_Process_Ex(unsigned int flags, const char*, ACE_Log_Msg_Callback_var callback)
    : flags_(flags), callback_(std::move(callback)) {}

ACE_Process_Ex::~ACE_Process_Ex() = default;

void ACE_Process_Ex::tell(ACE_Process_Options& options, const std::string& what) const {
  const char* const program = options.command_line_argv()[0];
  // Up to the first blank: an open quote in the program's path takes the arguments in, a password among them.
  const std::string name = program == nullptr ? "child" : "'" + std::string(program, std::strcspn(program, " ")) + "'";
  const std::string text = name + " " + what;
  log_activity(callback_, text.data(), text.size());
}

pid_t ACE_Process_Ex::spawn(Process_Options& options) {
  if (options.fault().empty()) return spawn(options, options.groups());
  tell(options, "cannot be started: " + options.fault());
  return -1;
}

pid_t ACE_Process_Ex::spawn(ACE_Process_Options& options) {
  const bool changes_user = options.getruid() != UNCHANGED || options.geteuid() != UNCHANGED ||
                            options.getrgid() != UNCHANGED || options.getegid() != UNCHANGED;
  if (!changes_user) return spawn(options, {});
  errno = EPERM;
  tell(options, "cannot be started: its user was set without the groups");
  return -1;
}

pid_t ACE_Process_Ex::spawn(ACE_Process_Options& options, const std::vector<gid_t>& groups) {
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

  child_id_ = ready ? platform::spawn(request) : -1;
  if (child_id_ < 0) {
    tell(options, "cannot be started: " + std::generic_category().message(errno));
    return -1;
  }
  stdout_ = std::move(output.reader);
  stderr_ = std::move(error.reader);
  return child_id_;
}

}  // namespace platform
