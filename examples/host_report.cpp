// host_report: shows every SAP HANA system and instance that runs on this host.
//
// Exit status: 0 if there is at least one, 1 if there is none or none can be read, 2 for a wrong call.

#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <list>
#include <map>
#include <string>

#include "examples/support/database_report.h"
#include "examples/support/password.h"
#include "examples/support/terminal.h"
#include "hana/common/environ_getter.h"
#include "hana/common/list_instances.h"
#include "hana/common/nameserver_config_parser.h"
#include "hana/common/replication_state_getter.h"
#include "hana/common/server_port_manager.h"
#include "hana/common/system_control.h"
#include "platform/files/directory.h"
#include "platform/process/service_lister.h"
#include "platform/text/format.h"

namespace {

using namespace example;
using sap_hana::Server_Port_Manager;
using sap_hana::System_Instance_Info;
using sap_hana::System_Instance_Info_List;

const char* const USAGE =
    "usage: host_report [--user NAME] [--password-file [SID=]FILE]...\n"
    "Shows every SAP HANA system and instance that runs on this host. Reading all of them takes root.\n"
    "What only SQL tells is shown for systems with a password: of all of them, or of the one named SID.\n"
    "\n"
    "--user NAME                  the database user; SYSTEM if not given\n"
    "--password-file [SID=]FILE   the file that holds the user's password, - for standard input\n"
    "\n"
    "Exit status: 0 if there is at least one, 1 if there is none or none can be read, 2 for a wrong call.\n";

struct Request {
  std::string user = "SYSTEM";
  std::map<std::string, platform::secure_string> passwords;  // by SID; "" for every other system
};

std::string host_name() {
  char name[256] = "";
  ::gethostname(name, sizeof(name) - 1);
  return name;
}

// The environment of one instance's start service; empty where it has gone meanwhile.
sap_hana::HANA_Env_Value environment_of(const System_Instance_Info& instance) {
  const std::string pattern = instance.system_info.sid + "/" + instance.instance_name + "/exe/sapstartsrv";
  std::list<platform::Service_Info> services;
  sap_hana::HANA_Env_Value environment{};
  if (platform::Service_Lister().list_service(pattern.c_str(), services, false, "C") == 0 && !services.empty()) {
    sap_hana::Environ_Getter::instance()->get(services.front().pid, environment);
  }
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

void print_trace_directories(const std::string& instance_directory) {
  const char* name = "trace";
  for (const std::string& directory : trace_directories(instance_directory)) {
    print_field(name, printable(directory));
    name = "";
  }
}

void print_ports(std::uint16_t instance_number, bool multi_container) {
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
  const char* name = "ports";
  for (const auto& server : servers) {
    const bool listening = ports.is_listening(server.type);
    std::printf("    %-14s%u  %-22s%s\n", name, static_cast<unsigned>(ports.get_port(server.type)), server.server,
                (listening ? styled(GREEN, "listening") : styled(DIM, "-")).c_str());
    name = "";
  }
}

void print_instance(const System_Instance_Info& instance, bool multi_container) {
  const sap_hana::HANA_Env_Value environment = environment_of(instance);
  std::printf("\n  %s\n", styled(BOLD, instance.instance_name).c_str());
  print_field("number", platform::snprintf_t<8>("%02d", instance.instance_number).str());
  print_field("host", or_unknown(instance.system_info.localhost));
  print_field("version", or_unknown(instance.system_info.version));
  print_field("user", or_unknown(environment.user));
  print_field("directory", or_unknown(environment.instance_dir));
  print_field("executables", or_unknown(instance.dir_executable));
  print_trace_directories(environment.instance_dir);
  print_ports(instance.instance_number, multi_container);
}

std::string replication_of(const std::string& sid) {
  sap_hana::Replication_State_Getter::Replication_State state;
  // A primary may tell no more than its mode.
  if (!sap_hana::Replication_State_Getter(sid).get_state(state) && state.mode.empty()) return styled(DIM, "none");
  return printable(state.mode) + (state.operation_mode.empty() ? "" : ", " + printable(state.operation_mode));
}

// The name server's view of the system. A key may well be missing, or the whole file.
void print_topology(const std::string& sid) {
  const Quiet quiet;
  sap_hana::Name_Server_Config_Parser config(sid);
  const struct {
    const char* name;
    bool (sap_hana::Name_Server_Config_Parser::*get)(std::list<std::string>&);
  } lists[] = {{"master", &sap_hana::Name_Server_Config_Parser::get_master},
               {"worker", &sap_hana::Name_Server_Config_Parser::get_worker},
               {"standby", &sap_hana::Name_Server_Config_Parser::get_standby}};
  for (const auto& list : lists) {
    std::list<std::string> hosts;
    print_field(list.name, (config.*list.get)(hosts) ? printable(join(hosts)) : styled(DIM, "-"));
  }

  bool cluster = false;
  bool active_master = false;
  std::string role;
  config.get_role(role);
  print_field("cluster", !config.is_cluster(cluster) ? or_unknown("") : cluster ? "yes" : "no");
  print_field("active master", !config.is_active_master(active_master) ? or_unknown("")
                               : active_master                         ? "this host"
                                                                       : "another host");
  print_field("role", or_unknown(role));
  print_field("replication", replication_of(sid));
}

void print_sql(System_Instance_Info instance, bool multi_container, const Request& request) {
  auto password = request.passwords.find(instance.system_info.sid);
  if (password == request.passwords.end()) password = request.passwords.find("");
  if (password == request.passwords.end()) {
    print_field("SQL", styled(DIM, "left out: no password was given (--password-file)"));
    return;
  }
  instance.system_info.multi_container = multi_container;  // a listing does not tell
  print_databases(instance, request.user, password->second);
}

void print_system(const std::string& sid, const System_Instance_Info_List& instances, const Request& request) {
  const bool multi_container = sap_hana::System_Controller(sid).is_multi_container();
  std::string landscape_id;
  sap_hana::Environ_Getter::instance()->get_landscape_id(sid.c_str(), landscape_id);

  std::printf("\n%s\n", styled(BOLD, printable(sid)).c_str());
  print_field("mode", multi_container ? "multiple-container" : "single-container");
  print_field("landscape id", or_unknown(landscape_id));
  print_topology(sid);
  print_sql(instances.front(), multi_container, request);
  for (const System_Instance_Info& instance : instances)
    print_instance(instance, multi_container);
}

int report(const Request& request) {
  System_Instance_Info_List instances;
  if (!sap_hana::System_Instance_Lister().list(instances)) {
    std::cerr << "host_report: no SAP HANA instance runs on " << host_name() << '\n';
    return 1;
  }
  if (instances.empty()) {
    std::cerr << "host_report: SAP HANA runs on " << host_name() << ", but no instance could be read"
              << (::geteuid() == 0 ? "" : "; try it as root") << '\n';
    return 1;
  }

  std::map<std::string, System_Instance_Info_List> systems;
  for (const System_Instance_Info& instance : instances)
    systems[instance.system_info.sid].push_back(instance);

  std::printf("SAP HANA on %s: %s, %s\n", host_name().c_str(), count(systems.size(), "system").c_str(),
              count(instances.size(), "instance").c_str());
  for (auto& [sid, of_system] : systems) {
    of_system.sort([](const auto& a, const auto& b) { return a.instance_number < b.instance_number; });
    print_system(sid, of_system, request);
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}

// "HXE=FILE" is for one system, "FILE" for every other.
bool add_password(const std::string& option, Request& request) {
  const bool named = option.size() > 4 && option[3] == '=';
  return read_password(named ? option.substr(4) : option, request.passwords[named ? option.substr(0, 3) : ""]);
}

bool parse(char** argument, Request& request) {
  for (; *argument != nullptr; argument += 2) {
    const std::string option = *argument;
    if (argument[1] == nullptr || (option != "--user" && option != "--password-file")) {
      std::cerr << USAGE;
      return false;
    }
    if (option == "--user") {
      request.user = argument[1];
    } else if (!add_password(argument[1], request)) {
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::string(argv[1]) == "--help") {
    std::cout << USAGE;
    return 0;
  }
  log_errors_only();
  Request request;
  return parse(argv + 1, request) ? report(request) : 2;
}
