#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "platform/export.h"
#include "platform/process/service_lister.h"

namespace sap_hana {

// Starts, stops and looks at one HANA system's instances on this host. An instance is named "HDB00" to "HDB99", or
// numbered 0 to 99. Every call looks at the live host anew: at the processes "<SID>/<instance name>/exe/sapstartsrv"
// and at the listening ports. Holds the SID only, so threads may share one, but nothing keeps two actions on an
// instance from running into each other.
class GUSTAIKRUM_EXPORT Instance_Controller {
 public:
  // Whether an instance serves SQL.
  enum Instance_State {
    INSTANCE_STATE_UNKNOWN = 0,  // nothing has been found out
    INSTANCE_STATE_RUNNING = 1,  // it does
    INSTANCE_STATE_STOPPED = 2   // it does not, or not yet
  };
  // What the HDB script is told to do.
  enum HDB_ACTION {
    HDB_ACTION_UNKNOWN = 0,  // nothing
    HDB_ACTION_START = 1,    // "HDB start"
    HDB_ACTION_STOP = 2,     // "HDB stop"
    HDB_ACTION_RESTART = 3   // "HDB restart"
  };

  // The SID goes into paths as it is; in lower case, with "adm" after it, it names the instance's user.
  Instance_Controller(const std::string& sid);

  // Run SAP's script "HDB" of the instance directory as the instance's user, with that user's groups, and wait for it
  // however long it takes; it is given a day to start or stop the servers. The daemons that it leaves are not waited
  // for. The caller needs the right to become that user, or to be it. The directory is that of the instance's first
  // "sapstartsrv" that can be believed (see System_Instance_Lister), else "/usr/sap/<SID>/<instance name>".
  //
  // True if the script ended with status 0. False, with a message, if it failed or was not run: no such user, no right
  // to become it, or no "sapstartsrv" of the instance runs.
  bool start(const std::string& instance_name) const;
  bool stop(const std::string& instance_name) const;
  bool restart(const std::string& instance_name) const;

  // Replaces `state`: running, if the index server's port is listened on (3<nn>13 in a multiple-container system, else
  // 3<nn>15), else stopped. False, with `state` stopped, if no "sapstartsrv" of the instance runs, and, with a
  // message, if that cannot be found out and for a number above 99. A name that is not "HDB" and two characters is
  // false without a message and leaves `state` as it was; characters that are no digits end the number.
  bool get_state(std::uint16_t instance_number, Instance_State& state) const;
  bool get_state(const std::string& instance_name, Instance_State& state) const;

  // Replaces `dir` by the instance's directory as the first of its "sapstartsrv" processes has it in its environment,
  // whoever runs it: what is run from there runs on that process's word. Where it has none, or cannot be read, and with
  // `use_default`, it is "/usr/sap/<SID>/<instance name>". False, with `dir` empty and mostly a message, if no such
  // process runs (whatever `use_default` says) or none of the two gives a directory.
  bool get_instance_dir(const std::string& instance_name, std::string& dir, bool use_default) const;

  // Appends the instance's "sapstartsrv" processes in ascending pid; the list is not cleared. True if the list is not
  // empty then. False with a message if the processes cannot be listed or the number is above 99.
  bool get_instance_services(const std::string& instance_name, std::list<platform::Service_Info>& service_info) const;
  bool get_instance_services(std::uint16_t instance_number, std::list<platform::Service_Info>& service_info) const;

 private:
  void get_default_instance_dir(const std::string& instance_name, std::string& dir) const;
  bool hdb_action(const std::string& instance_name, HDB_ACTION action) const;

  std::string sid_;
};

}  // namespace sap_hana
