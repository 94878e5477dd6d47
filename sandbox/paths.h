#pragma once

#include <string>

namespace sandbox {

// Where the sandbox keeps what is its own: the mark that /usr/sap is not a real one, pid files, databases, logs.
inline constexpr const char* state_dir = "/usr/sap/.sandbox";

// A system's part of it; the tools of any user write here.
std::string system_state(const std::string& sid);
// "/usr/sap/.sandbox/HXE/HDB90.hdbindexserver.pid".
std::string pid_file(const std::string& sid, const std::string& instance, const std::string& program);
// "/usr/sap/HXE/HDB90".
std::string instance_dir(const std::string& sid, const std::string& instance);
// "/usr/sap/HXE/SYS/profile/HXE_HDB90_hxehost".
std::string profile_path(const std::string& sid, const std::string& instance, const std::string& host);

}  // namespace sandbox
