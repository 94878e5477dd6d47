#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>

#include "platform/export.h"
#include "platform/files/unique_fd.h"

namespace platform {

// Who stands behind what a process shows of itself. Its arguments and its environment are the words of the user who ran
// its program; its rights may be another's, where the program is set-user-id or the process changes its user.
//
// To believe an environment, look at the process, read the environment, and ask whether all is as it was:
//
//   const Process_Identity identity(pid);
//   read(pid);
//   if (identity.is_unchanged()) ... identity.user() ...
class GUSTAIKRUM_EXPORT Process_Identity {
 public:
  // Looks at the process. Bound to it: another one that gets the same pid later is not taken for it.
  explicit Process_Identity(pid_t pid);

  // The user whose rights the process has (the effective one). Nothing if its program was run by somebody other than
  // this user or root, and where that cannot be told.
  std::optional<uid_t> user() const;

  // Looks again. True if the process has run the same program, by the same user and with the same rights, ever since.
  // May be false for one that is busy with its memory.
  bool is_unchanged() const;

 private:
  struct State {
    uid_t owner;         // the effective user
    unsigned long real;  // the users at the time when its program was run
    unsigned long effective;
    std::uint64_t page_faults;  // so far; a program that is run adds some

    bool operator==(const State& other) const;
  };
  std::optional<State> look() const;

  Unique_Fd directory_;  // "/proc/<pid>"
  std::optional<State> state_;
};

}  // namespace platform
