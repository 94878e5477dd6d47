#pragma once

#include <string>

#include "platform/process/service_lister.h"

namespace sap_hana {

// The operating system's user that a system belongs to: "hxeadm" for HXE.
std::string administrator_of(const std::string& sid);

// True if the process has root's rights from its program's file alone, or if that cannot be told: its arguments and its
// environment are then somebody else's words.
bool is_root_by_its_file(const platform::Service_Info& service);

// True if what a start service says of itself can be acted on. Any user may run a process with its command line and an
// environment of choice; a true one runs as the system's administrator or as root.
bool is_genuine(const platform::Service_Info& service, const std::string& sid);

}  // namespace sap_hana
