#include "hana/common/system_control.h"

#include <exception>

#include "platform/files/directory.h"
#include "platform/files/ini_file.h"
#include "platform/text/format.h"

namespace sap_hana {

System_Controller::System_Controller(const std::string& sid) : sid_(sid) {}

System_Controller::~System_Controller() = default;

bool System_Controller::is_multi_container() const {
  const platform::snprintf_t<4096> path("/usr/sap/%s/SYS/global/hdb/custom/config/global.ini", sid_.c_str());
  if (!platform::is_regular_file(path.c_str())) return false;

  try {
    return platform::read_ini_file(path.c_str()).get<std::string>("multidb.mode") == "multidb";
  } catch (const std::exception&) {
    return false;
  }
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
