#include "hana/common/replication_state_getter.h"

#include "hana/common/detail/system_config_file.h"
#include "platform/files/directory.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"

namespace sap_hana {

Replication_State_Getter::Replication_State_Getter(const std::string& sid) : sid_(platform::kept_name(sid)) {}

bool Replication_State_Getter::get_state(Replication_State& state) const try {
  const std::string path = system_config_path(sid_.c_str(), "global.ini");
  if (!platform::is_regular_file(path)) {
    platform::log_error("Failed to get replication state: config file does not exist\n");
    return false;
  }

  std::string actual_mode, why;
  const bool is_whole = read_system_config(path,
                                           {{"system_replication.mode", &state.mode},
                                            {"system_replication.actual_mode", &actual_mode},
                                            {"system_replication.operation_mode", &state.operation_mode}},
                                           why);
  if (!actual_mode.empty()) state.mode = actual_mode;
  return is_whole;
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
