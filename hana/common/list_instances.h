#pragma once

#include <list>
#include <string>

#include "hana/common/system_info.h"
#include "platform/export.h"
#include "platform/process/service_lister.h"

namespace sap_hana {

// Lists the running HANA systems and instances of this host: those whose start service, ".../HDB<nn>/exe/sapstartsrv",
// runs, as its environment describes them (Environ_Getter).
//
// Holds no state, so threads may share one. Each call looks anew and runs "hdbsrvutil -v" once for every instance, one
// after the other, on the caller's thread. A process tells the directory of that program itself, so a caller with
// root's rights runs it as the process's user, and only for a process that can be believed: one that runs as its
// system's administrator ("sidadm") or as root, and was started by that user or by root. Whoever makes a process that
// looks like a start service gains nothing by it.
class GUSTAIKRUM_EXPORT System_Instance_Lister {
 public:
  System_Instance_Lister() = default;
  ~System_Instance_Lister() = default;

  // Appends one record for each instance of each system, in ascending order of the start services' pids, but last those
  // that cannot be believed and may be anything; the list is not cleared. The version stands in system_info and is
  // empty where it cannot be read; multi_container is always false: ask System_Controller. A service without a readable
  // environment, SID or host name, and one whose number is above 99, is passed over, also one whose system and instance
  // is listed already. False if no start service runs, and, with a message, if that cannot be found out.
  bool list(System_Instance_Info_List& infos) const;

  // Replaces `info` with the record of the running instance that has exactly this SID and name ("HDB90").
  // False if there is none; `info` is unchanged then.
  bool list(System_Instance_Info& info, const std::string& sid, const std::string& name) const;

 private:
  bool list_service(std::list<platform::Service_Info>& services) const;
  // An empty user stands for one that cannot be believed.
  bool get_version(const std::string& dir_executable, const std::string& user, std::string& version) const;
};

}  // namespace sap_hana
