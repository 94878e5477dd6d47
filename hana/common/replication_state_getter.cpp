#include "hana/common/replication_state_getter.h"

#include <exception>

#include "platform/files/directory.h"
#include "platform/files/ini_file.h"
#include "platform/log/log.h"
#include "platform/text/format.h"

namespace sap_hana {

Replication_State_Getter::Replication_State_Getter(const std::string& sid) : sid_(sid) {}

bool Replication_State_Getter::get_state(Replication_State& state) const {
  std::string path;
  platform::string_sprintf(path, "/usr/sap/%s/SYS/global/hdb/custom/config/global.ini", sid_.c_str());
  if (!platform::is_regular_file(path)) {
    platform::log_error("Failed to get replication state: config file does not exist\n");
    return false;
  }

  try {
    const auto config = platform::read_ini_file(path);
    state.mode = config.get<std::string>("system_replication.mode");
    const auto actual_mode = config.get<std::string>("system_replication.actual_mode");
    if (!actual_mode.empty()) state.mode = actual_mode;
    state.operation_mode = config.get<std::string>("system_replication.operation_mode");
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace sap_hana
