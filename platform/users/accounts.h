#pragma once

#include <sys/types.h>

#include <string>

#include "platform/export.h"

namespace platform {

// A user's numbers.
struct User_Ids {
  uid_t uid;  // the user's own
  gid_t gid;  // the primary group
};

// Look up a user or a group by its name in the system's databases; any number of threads may at once. 0, or the error
// number: ENOENT for one that does not exist and for a null name. The out-parameter is unchanged then.
GUSTAIKRUM_EXPORT int find_user(const char* name, User_Ids& ids);
int find_group(const char* name, gid_t& id);

// The user's name; the number as text for a user that has none, and, told at LM_DEBUG, where that cannot be looked up.
std::string user_name(uid_t id);

}  // namespace platform
