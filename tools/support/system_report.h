#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "hana/common/list_instances.h"

namespace tools {

struct Port_Report {
  const char* server;
  std::uint16_t port;
  bool listening;
};

// What files and processes tell about an instance. A text that nothing tells is empty.
struct Instance_Report {
  std::string name;
  std::uint16_t number;
  bool running;  // SQL is served; its start service runs in any case
  std::string host;
  std::string version;
  std::string user;
  std::string directory;
  std::string executables;
  std::list<std::string> trace_directories;
  std::vector<Port_Report> ports;
};

// What they tell about a system. What the name server's configuration lacks has no value.
struct System_Report {
  std::string sid;
  bool multi_container;
  std::string landscape_id;
  std::optional<std::list<std::string>> master;
  std::optional<std::list<std::string>> worker;
  std::optional<std::list<std::string>> standby;
  std::optional<bool> cluster;
  std::optional<bool> active_master;  // this host is
  std::string role;
  std::string replication_mode;  // empty for a system that is not replicated
  std::string operation_mode;
  std::list<Instance_Report> instances;
  sap_hana::System_Instance_Info for_sql;  // whose hdbsql to ask
};

// Reads what there is about each system whose instances are listed, or of the one named, without asking its database:
// systems by SID, instances by number.
std::list<System_Report> read_systems(const sap_hana::System_Instance_Info_List& listed, const std::string& only);

// This host's own name.
std::string host_name();

}  // namespace tools
