#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "hana/common/environ_getter.h"

namespace sap_hana {

// The operating system's user that a system belongs to: "hxeadm" for HXE.
std::string administrator_of(const std::string& sid);

// What a start service says of itself, and whose word that is.
struct Start_Service {
  HANA_Env_Value environment{};
  std::optional<uid_t> user;  // who runs it; nothing if somebody else may have chosen its environment
};

// False, after Environ_Getter's message, if the environment cannot be read.
bool read_start_service(pid_t pid, Start_Service& service);

// The user as whom something may be run for that system because a start service says so: "root", or the system's
// administrator, whichever it runs as itself. Empty for any other: any user may run a process with a start service's
// command line and an environment of choice.
std::string believed_user(const Start_Service& service, const std::string& sid);

}  // namespace sap_hana
