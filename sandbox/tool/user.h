#pragma once

#include <string>

namespace sandbox {

// Makes this process, if it is root, the user of that name with all its groups; an empty name stands for the owner of
// `path`. Where there is no second user, it stays what it is. Throws std::runtime_error.
void become(const std::string& name, const std::string& path);

}  // namespace sandbox
