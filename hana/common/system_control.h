#pragma once

#include <string>

#include "platform/export.h"

namespace sap_hana {

// Answers questions about a whole system from its configuration,
// "/usr/sap/<SID>/SYS/global/hdb/custom/config/global.ini", read anew on every call.
// A value: it may be copied, and threads may share one. No failure is logged above LM_DEBUG.
class GUSTAIKRUM_EXPORT System_Controller {
 public:
  // The SID becomes part of a path; nothing is read yet.
  System_Controller(const std::string& sid);
  ~System_Controller();

  // True exactly if the section [multidb] has the mode "multidb", in lower case: the system has a system database and
  // tenant databases. False also where that cannot be read; with the cause at LM_DEBUG, if only this time.
  bool is_multi_container() const;

  // True for "SYSTEMDB", in upper case. In a system that is not multiple-container every name is that of its one
  // database, so any is true there.
  bool is_system_database(const std::string& database) const;

  // Do nothing and are true, deliberately: a whole system is started and stopped instance by instance.
  bool start() const;
  bool stop() const;

 private:
  std::string sid_;
};

}  // namespace sap_hana
