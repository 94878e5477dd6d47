#pragma once

#include <list>
#include <string>

#include "tools/support/system_report.h"

namespace tools {

// Writes what the library reads on this host to a new file, or to standard output for "-", as a host description that
// the sandbox starts (docs/sandbox.md); of the systems of `reports`. Nothing of it is a password or comes from a
// database.
// An anonymous one has other host names and landscape ids, each the same wherever it stands.
// False, with the reason on standard error, if it cannot be written.
bool record_host(const std::string& path, const std::list<System_Report>& reports, bool anonymous);

}  // namespace tools
