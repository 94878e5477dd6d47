#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "platform/export.h"
#include "platform/files/unique_fd.h"

namespace platform {

// By whose word a process is what it shows of itself.
enum class Process_Owner {
  CALLER,   // this program's effective user
  ROOT,     // where that is another
  NAMED,    // the user that was asked about
  STRANGER  // anybody else, and where it cannot be told
};

// Who stands behind what a process shows of itself. Its arguments and its environment are the words of the user who ran
// its program; its rights may be another's, where the program is set-user-id or the process changes its user.
//
// To believe an environment, look at the process, read the environment, and ask whether all is as it was:
//
//   const Process_Identity identity(pid);
//   read(pid);
//   if (identity.is_unchanged()) ... identity.owner(administrator) ...
class GUSTAIKRUM_EXPORT Process_Identity {
 public:
  // Looks at the process. Bound to it: another one that gets the same pid later is not taken for it.
  explicit Process_Identity(pid_t pid);

  // Whose the process was at that look: the user whose rights it has (the effective one), provided that this user or
  // root ran its program. `named` is a further user to tell from strangers, if there is one.
  Process_Owner owner(const std::optional<uid_t>& named) const;

  // Looks again. True if the process has run the same program, by the same user and with the same rights, ever since.
  // May be false for one that is busy with its memory.
  bool is_unchanged() const;

  // True if paths mean to the process what they mean here: it has the same mount namespace and root directory.
  bool shares_paths() const;

  // True if `directory`, an absolute path, is the same directory for the process as for this program.
  bool shares_directory(const std::string& directory) const;

 private:
  struct State {
    uid_t owner;                // the effective user
    unsigned long run_by;       // the real user at the time when its program was run
    std::uint64_t page_faults;  // so far; a program that is run adds some

    bool operator==(const State& other) const;
  };
  std::optional<State> look() const;

  Unique_Fd directory_;  // "/proc/<pid>"
  std::optional<State> state_;
};

}  // namespace platform
