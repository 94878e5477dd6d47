#pragma once

#include "platform/export.h"

namespace platform {

// Gives a file, or with `recursive` a directory and everything below it, to a user and a group, both by name.
//
// Symbolic links below the path and at its end are changed themselves, never followed, and each file is changed
// through the descriptor by which it was found: whoever owns the tree cannot lead the change elsewhere by exchanging
// entries meanwhile. What vanishes meanwhile is passed over.
//
// False if the user or the group does not exist (nothing is changed then), if some file could not be changed (the
// others are), or if directories are nested more than 200 deep. The cause is logged at LM_DEBUG.
GUSTAIKRUM_EXPORT bool chown_r(const char* path, const char* user, const char* group, bool recursive);

}  // namespace platform
