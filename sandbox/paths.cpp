#include "sandbox/paths.h"

#include <fstream>

#include "sandbox/way.h"

namespace sandbox {

std::string system_state(const std::string& sid) {
  return std::string(state_dir) + "/" + sid;
}

std::string pid_file(const std::string& sid, const std::string& instance, const std::string& program) {
  return system_state(sid) + "/" + instance + "." + program + ".pid";
}

std::string instance_dir(const std::string& sid, const std::string& instance) {
  return "/usr/sap/" + sid + "/" + instance;
}

std::string profile_path(const std::string& sid, const std::string& instance, const std::string& host) {
  return "/usr/sap/" + sid + "/SYS/profile/" + sid + "_" + instance + "_" + host;
}

Way way_inside() {
  std::ifstream file(std::string(state_dir) + "/way/name");
  std::string name;
  file >> name;
  if (name == "namespaces") return Way::namespaces;
  if (name == "one_user") return Way::one_user;
  return name == "plain" ? Way::plain : Way::none;
}

}  // namespace sandbox
