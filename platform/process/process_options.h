#pragma once

#include <ace/Process.h>
#include <sys/types.h>

#include <cstdarg>
#include <cstddef>
#include <string>
#include <vector>

#include "platform/export.h"

namespace platform {

// How a child process is to run: its command line, its environment and its user, in ACE's own options made safe.
//
// A command line that does not fit ACE's buffer (1,024 characters with the NUL), more than 127 arguments, an
// environment entry that does not fit (16,384 characters and 512 entries in all), a user that does not exist or want of
// memory is remembered in fault(). Such options have no command line any more, so they cannot be run cut or as the
// wrong user, and a caller need not look at each result. Of ACE's other options only inherit_environment() is heeded: a
// child's standard input is always "/dev/null", and it never inherits a descriptor.
//
// The command line may hold a password: both of ACE's copies of it are wiped when they are replaced and when the
// options are destroyed. An object is used by one thread at a time.
class GUSTAIKRUM_EXPORT Process_Options : public ACE_Process_Options {
 public:
  // Without a command line yet. The child gets the caller's environment, or with false only what setenv() gives it.
  explicit Process_Options(bool inherit_environment = true);
  ~Process_Options();
  Process_Options(const Process_Options&) = delete;
  Process_Options& operator=(const Process_Options&) = delete;

  // Sets the program and its arguments, separated by blanks; text between double or single quotes is one argument.
  // The first is the program's path: no search path is tried. 0, or -1 with a fault().
  int command_line(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // Sets one variable of the child's environment, over an inherited or earlier one of the same name. 0, or -1 with a
  // fault().
  int setenv(const char* name, const char* format, ...) __attribute__((format(printf, 3, 4)));

  // Lets the child run with the user's real and effective user and group ids and with the user's supplementary
  // groups, all looked up here. 0, or -1 with a fault().
  int setreugid(const char* user);

  // Why these options cannot be run; empty if nothing is known against them.
  const std::string& fault() const { return fault_; }

  // The supplementary groups that belong to the user set by setreugid().
  const std::vector<gid_t>& groups() const { return groups_; }

 private:
  // Ids without the groups that go with them would leave the caller's groups to the child.
  using ACE_Process_Options::setegid;
  using ACE_Process_Options::seteuid;
  using ACE_Process_Options::setrgid;
  using ACE_Process_Options::setruid;

  GUSTAIKRUM_LOCAL int set_variable(const char* name, const char* format, std::va_list args)
      __attribute__((format(printf, 3, 0)));
  GUSTAIKRUM_LOCAL int fail(std::string fault);
  GUSTAIKRUM_LOCAL void wipe_command_line();
  GUSTAIKRUM_LOCAL std::size_t split_command_line();

  std::string fault_;
  std::vector<gid_t> groups_;
  std::size_t command_line_length_ = 0;  // in characters; of both of ACE's copies
};

}  // namespace platform
