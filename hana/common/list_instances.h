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
// after the other, on the caller's thread, as the user of the instance's start service. A process tells the directory
// of that program itself, so it is run only for one that can be believed: a process of the calling program's user, of
// root or of its system's administrator ("sidadm"), started by that user or by root, for which the directory is the
// same as here. Whoever makes a process that looks like a start service gains nothing by it.
class GUSTAIKRUM_EXPORT System_Instance_Lister {
 public:
  System_Instance_Lister();
  ~System_Instance_Lister();  // NOLINT(performance-trivially-destructible): exported

  // Appends one record for each instance of each system, in ascending order of the start services' pids; the list is
  // not cleared. Where several processes tell of one instance, the first counts, but one that can be believed takes the
  // place of one that cannot. The version stands in system_info and is empty where it cannot be read; multi_container
  // is always false: ask System_Controller. Texts are the process's own and may hold anything, control characters too.
  // A service without a readable environment, SID or host name, and one whose number is above 99, is passed over; an
  // ordinary user, who may read nobody else's environment, gets true and nothing appended. False if no start service
  // runs, and, with a message, if that cannot be found out.
  bool list(System_Instance_Info_List& infos) const;

  // Replaces `info` with the record of the running instance that has exactly this SID and name ("HDB90").
  // False if there is none; `info` is unchanged then.
  bool list(System_Instance_Info& info, const std::string& sid, const std::string& name) const;

 private:
  bool list_service(std::list<platform::Service_Info>& services) const;
};

}  // namespace sap_hana
