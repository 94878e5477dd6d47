#include "tools/support/system_report.h"

#include <unistd.h>

#include <algorithm>
#include <map>

#include "examples/log_reasons.h"
#include "hana/common/environ_getter.h"
#include "hana/common/instance_control.h"
#include "hana/common/nameserver_config_parser.h"
#include "hana/common/replication_state_getter.h"
#include "hana/common/server_port_manager.h"
#include "hana/common/system_control.h"
#include "platform/files/directory.h"
#include "platform/process/process_search.h"

namespace tools {
namespace {

using sap_hana::Name_Server_Config_Parser;
using sap_hana::Server_Port_Manager;

std::list<platform::Service_Info> list_start_services() {
  std::list<platform::Service_Info> services;
  platform::find_processes("/HDB[0-9][0-9]/exe/sapstartsrv", services);
  return services;
}

// The environment of one instance's start service; empty where it has gone meanwhile.
sap_hana::HANA_Env_Value environment_of(const sap_hana::System_Instance_Info& instance,
                                        const std::list<platform::Service_Info>& services) {
  const std::string program = instance.system_info.sid + "/" + instance.instance_name + "/exe/sapstartsrv";
  const auto is_its = [&](const platform::Service_Info& service) {
    return service.cmd.find(program) != std::string::npos;
  };
  const auto found = std::find_if(services.begin(), services.end(), is_its);
  sap_hana::HANA_Env_Value environment{};
  if (found != services.end()) sap_hana::Environ_Getter::instance()->get(found->pid, environment);
  return environment;
}

std::list<std::string> trace_directories(const std::string& instance_directory) {
  std::list<std::string> directories;
  for (const platform::Directory_Entry& entry : platform::iterate_directory(instance_directory, false, 0)) {
    const std::string directory = instance_directory + "/" + entry.name + "/trace";
    if (platform::is_directory(directory)) directories.push_back(directory);
  }
  directories.sort();
  return directories;
}

std::vector<Port_Report> read_ports(std::uint16_t instance_number, bool multi_container) {
  const struct {
    Server_Port_Manager::Port_Type type;
    const char* server;
  } servers[] = {
      {Server_Port_Manager::TYPE_DAEMON, "daemon"},
      {Server_Port_Manager::TYPE_NAMESERVER, "name server"},
      {Server_Port_Manager::TYPE_PREPROCESSOR, "preprocessor"},
      {Server_Port_Manager::TYPE_COMPILESERVER, "compile server"},
      {Server_Port_Manager::TYPE_STATISTICSSERVER, "statistics server"},
      {multi_container ? Server_Port_Manager::TYPE_MDC_INDEXSERVER : Server_Port_Manager::TYPE_INDEXSERVER,
       multi_container ? "SQL, system database" : "SQL"},
  };
  const Server_Port_Manager ports(instance_number);
  std::vector<Port_Report> reports;
  for (const auto& server : servers)
    reports.push_back({server.server, ports.get_port(server.type), ports.is_listening(server.type)});
  return reports;
}

Instance_Report read_instance(const sap_hana::System_Instance_Info& instance, bool multi_container,
                              const std::list<platform::Service_Info>& services) {
  const sap_hana::HANA_Env_Value environment = environment_of(instance, services);
  auto state = sap_hana::Instance_Controller::INSTANCE_STATE_UNKNOWN;
  sap_hana::Instance_Controller(instance.system_info.sid).get_state(instance.instance_number, state);
  return {instance.instance_name,
          instance.instance_number,
          state == sap_hana::Instance_Controller::INSTANCE_STATE_RUNNING,
          instance.system_info.localhost,
          instance.system_info.version,
          environment.user,
          environment.instance_dir,
          instance.dir_executable,
          trace_directories(environment.instance_dir),
          read_ports(instance.instance_number, multi_container)};
}

// What one of the parser's questions is answered with, if it is.
template <class Answer>
std::optional<Answer> ask(Name_Server_Config_Parser& config, bool (Name_Server_Config_Parser::*question)(Answer&)) {
  Answer answer{};
  return (config.*question)(answer) ? std::optional<Answer>(answer) : std::nullopt;
}

// The name server's view of the system. A key may well be missing, or the whole file.
void read_topology(System_Report& report) {
  const Log_Reasons unused;
  Name_Server_Config_Parser config(report.sid);
  report.master = ask(config, &Name_Server_Config_Parser::get_master);
  report.worker = ask(config, &Name_Server_Config_Parser::get_worker);
  report.standby = ask(config, &Name_Server_Config_Parser::get_standby);
  report.cluster = ask(config, &Name_Server_Config_Parser::is_cluster);
  report.active_master = ask(config, &Name_Server_Config_Parser::is_active_master);
  report.role = ask(config, &Name_Server_Config_Parser::get_role).value_or("");

  // Deliberately read where it fails as well: a primary may tell no more than its mode.
  sap_hana::Replication_State_Getter::Replication_State state;
  sap_hana::Replication_State_Getter(report.sid).get_state(state);
  report.replication_mode = state.mode;
  report.operation_mode = state.operation_mode;
}

System_Report read_system(const std::string& sid, const sap_hana::System_Instance_Info_List& instances,
                          const std::list<platform::Service_Info>& services) {
  System_Report report{};
  report.sid = sid;
  report.multi_container = sap_hana::System_Controller(sid).is_multi_container();
  sap_hana::Environ_Getter::instance()->get_landscape_id(sid.c_str(), report.landscape_id);
  read_topology(report);
  for (const sap_hana::System_Instance_Info& instance : instances)
    report.instances.push_back(read_instance(instance, report.multi_container, services));
  report.for_sql = instances.front();
  report.for_sql.system_info.multi_container = report.multi_container;  // a listing does not tell
  return report;
}

}  // namespace

std::list<System_Report> read_systems(const sap_hana::System_Instance_Info_List& listed, const std::string& only) {
  std::map<std::string, sap_hana::System_Instance_Info_List> systems;
  for (const sap_hana::System_Instance_Info& instance : listed) {
    const std::string& sid = instance.system_info.sid;
    if (only.empty() || sid == only) systems[sid].push_back(instance);
  }
  const std::list<platform::Service_Info> services = list_start_services();
  std::list<System_Report> reports;
  for (auto& [sid, instances] : systems) {
    instances.sort([](const auto& a, const auto& b) { return a.instance_number < b.instance_number; });
    reports.push_back(read_system(sid, instances, services));
  }
  return reports;
}

std::string host_name() {
  char name[256] = "";
  ::gethostname(name, sizeof(name) - 1);
  return name;
}

}  // namespace tools
