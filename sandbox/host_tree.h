#pragma once

#include "sandbox/host_description.h"

namespace sandbox {

// Builds the directories, files, users and host names of the described host. Starts nothing.
// Throws std::runtime_error where something stands in the way.
void build_tree(const Host_Description& host);

// Removes all that build_tree() makes; of an unfinished tree, what is there. What stands in the way is told
// on standard error.
void remove_tree();

}  // namespace sandbox
