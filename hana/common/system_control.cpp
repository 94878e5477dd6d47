#include "hana/common/system_control.h"

#include <string>

#include "hana/common/detail/system_config_file.h"
#include "platform/files/directory.h"

namespace sap_hana {

System_Controller::System_Controller(const std::string& sid) : sid_(sid) {}

System_Controller::~System_Controller() = default;

bool System_Controller::is_multi_container() const {
  const std::string path = system_config_path(sid_.c_str(), "global.ini");
  std::string mode;
  return platform::is_regular_file(path) && read_system_config(path, "multidb.mode", mode) && mode == "multidb";
}

bool System_Controller::is_system_database(const std::string& database) const {
  return !is_multi_container() || database == "SYSTEMDB";
}

bool System_Controller::start() const {
  return true;
}

bool System_Controller::stop() const {
  return true;
}

}  // namespace sap_hana
