#pragma once

#include <string>

#include "platform/export.h"

namespace sap_hana {

// Reads whether and how a HANA system takes part in system replication from
// "/usr/sap/<SID>/SYS/global/hdb/custom/config/global.ini", anew on every call. Holds no other state, so threads may
// share one.
class GUSTAIKRUM_EXPORT Replication_State_Getter {
 public:
  // How this site takes part; both are empty for a system that does not.
  struct Replication_State {
    std::string mode;            // "primary", "sync", "syncmem", "async" or whatever the file says
    std::string operation_mode;  // such as "logreplay" or "delta_datashipping"
  };

  // The SID becomes part of a path; nothing is read yet.
  Replication_State_Getter(const std::string& sid);

  // Replaces the mode by "mode" and then, unless that is empty, by "actual_mode", and the operation mode by
  // "operation_mode", all of "[system_replication]" and all required.
  // False with a message if there is no such file; false without one if it cannot be read as an INI file or lacks a
  // key (a primary may lack the operation mode), and what was replaced before that stays. It is never waited for.
  bool get_state(Replication_State& state) const;

 private:
  std::string sid_;
};

}  // namespace sap_hana
