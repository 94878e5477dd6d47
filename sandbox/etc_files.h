#pragma once

#include <string>
#include <vector>

namespace sandbox {

// Adds lines to "/etc/passwd", "/etc/group" or "/etc/hosts" (`name` is the last part) and keeps a record of them.
// In a private copy of the file, a line with the same first field gives way; on the machine's own it is an error.
void add_etc_lines(const std::string& name, const std::vector<std::string>& lines);

// Takes every recorded line away again.
void remove_etc_lines();

}  // namespace sandbox
