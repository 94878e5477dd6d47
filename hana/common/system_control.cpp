#include "hana/common/system_control.h"

#include <string>

#include "hana/common/detail/multi_container.h"
#include "platform/log/failed.h"

namespace sap_hana {

System_Controller::System_Controller(const std::string& sid) : sid_(platform::kept_name(sid)) {}

System_Controller::~System_Controller() = default;

bool System_Controller::is_multi_container() const try {
  return look_for_containers(sid_).value_or(false);
} catch (...) {
  return platform::failed();
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
