#pragma once

#include <sys/types.h>

#include <list>
#include <string>

#include "platform/export.h"

namespace platform {

// One running process.
struct Service_Info {
  std::string cmd;   // its arguments, joined by blanks
  std::string user;  // who runs it (the effective user); the number where the user has no name, or where that cannot
                     // be told, which is logged at LM_DEBUG
  pid_t pid;         // as this process's pid namespace numbers it
};

// Looks through the processes of this host that "/proc" shows, whoever they belong to, anew on every call.
// Holds no state, so threads may share one.
class GUSTAIKRUM_EXPORT Service_Lister {
 public:
  // Appends every process whose command line, arguments joined by blanks, holds a match of the regular expression
  // (Boost's Perl syntax), in ascending order of pid. Kernel threads have no command line, and a process that vanishes
  // meanwhile is passed over. Of a command line, 128 KiB are looked at; one on which the search grows too complex does
  // not match, since any local user may run such a process. The flag and the last text are accepted and unused.
  //
  // 0 on success, also when nothing matched. Non-zero if the pattern does not compile or "/proc" cannot be read, with
  // the cause at LM_DEBUG; nothing is appended then.
  int list_service(const char* pattern, std::list<Service_Info>& services, bool flag, const char* text) const;
};

}  // namespace platform
