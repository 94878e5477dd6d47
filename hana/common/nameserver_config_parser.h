#pragma once

#include <list>
#include <string>

#include "platform/export.h"

namespace sap_hana {

// Reads the topology of a HANA system from "/usr/sap/<SID>/SYS/global/hdb/custom/config/nameserver.ini", anew on every
// call:
//
//   [landscape]
//   id = 4f1b...
//   master = hana1:39001                        hosts, separated by blanks; the first of "worker" is usually the master
//   worker = hana1 hana2
//   standby = hana3
//   active_master = hana1:39001
//
// A false result with a message means that the file is no regular file, cannot be read as an INI file or lacks the
// key, or that this host's name could not be found out (see Host_Info_Getter). Out-parameters then keep what they held
// unless said otherwise. Such a file is never waited for. One thread uses an object at a time.
class GUSTAIKRUM_EXPORT Name_Server_Config_Parser {
 public:
  // The SID becomes part of a path; nothing is read yet.
  Name_Server_Config_Parser(const std::string& sid);

  // The landscape's id; an empty one is true as well. False without a message.
  bool landscape_uuid(std::string& id);

  // Replaces `cluster`: whether the system is spread over several hosts, that is, has two or more workers or some
  // standby host. Deliberate: a key "standby" without a value counts as a standby host. False, with `cluster` false,
  // if the workers cannot be read; without a message unless there is no such file.
  bool is_cluster(bool& cluster);

  // Replaces `active`: whether this host runs the active master name server, by "active_master". False, with `active`
  // false, if that or this host's name cannot be read.
  bool is_active_master(bool& active);

  // Replace the list by the hosts, in the file's order. A key without a value is one empty host.
  bool get_master(std::list<std::string>& hosts);
  bool get_worker(std::list<std::string>& hosts);
  bool get_standby(std::list<std::string>& hosts);

  // This host's role, the value of "roles_<host name>". Deliberate: it is looked for at the file's top level, outside
  // of "[landscape]", and a host name with a dot names a section and a key.
  bool get_role(std::string& role);

 private:
  bool exist();
  bool get_value(const char* key, std::string& value);
  bool get_hosts(const char* key, std::list<std::string>& hosts);

  std::string sid_;
  std::string path_;
  bool disable_log_;  // a missing key or a fault in the file is not logged
};

}  // namespace sap_hana
