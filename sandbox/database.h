#pragma once

#include <string>

#include "sandbox/host_description.h"

namespace sandbox {

// Creates the SQLite file behind a system's hdbsql:
//   USERS(NAME, PASSWORD), DATABASES(DATABASE_NAME, DESCRIPTION, ACTIVE_STATUS),
//   ALL_SCHEMAS(DATABASE_NAME, SCHEMA_NAME, SCHEMA_OWNER, HAS_PRIVILEGES), SYSTEM_INFO(SID, MULTI_CONTAINER)
//   and the view's own table M_INIFILE_CONTENTS.
// hdbsql makes the other views per connection. Throws std::runtime_error.
void create_database(const std::string& path, const System_Description& system);

}  // namespace sandbox
