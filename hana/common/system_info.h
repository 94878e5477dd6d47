#pragma once

#include <cstdint>
#include <list>
#include <string>

namespace sap_hana {

// Records about HANA systems. Plain values: a declared one has scalars without a value, T() one with zeros.

// One system.
struct System_Base_Info {
  std::string sid;        // three characters, such as "HXE"
  std::string localhost;  // this host's name as the system knows it
  std::string version;    // such as "2.00.071.00.1687900751"
  bool multi_container;   // a system database and tenant databases
};

// One instance of a system.
struct System_Instance_Info {
  System_Base_Info system_info;   // of its system
  std::uint16_t instance_number;  // 0 to 99
  std::string instance_name;      // "HDB00" to "HDB99"
  std::string version;            // a listing leaves it empty and sets that of system_info
  std::string dir_executable;     // where its hdbsql and hdbsrvutil lie
};

// One database of an instance.
struct Database_Info {
  System_Instance_Info instance_info;  // of its instance; a listing of databases leaves it empty
  bool active;                         // started
  std::string name;                    // "SYSTEMDB" or a tenant's; a single container's is its SID
  std::string description;             // as M_DATABASES has it
  std::string os_user;                 // for the program's own use: nothing here fills or reads it
  std::string os_group;                // the same
};

// Lists of records, in the order in which they were found.
typedef std::list<System_Instance_Info> System_Instance_Info_List;
typedef std::list<Database_Info> Database_Info_List;

}  // namespace sap_hana
