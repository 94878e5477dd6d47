// host_report: shows every SAP HANA system and instance that runs on this host.
//
// Exit status: 0 if there is at least one, 1 if there is none or none can be read, 2 for a wrong call.

#include <ace/Log_Msg.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <list>
#include <map>
#include <string>

#include "hana/common/environ_getter.h"
#include "hana/common/list_instances.h"
#include "hana/common/server_port_manager.h"
#include "hana/common/system_control.h"
#include "platform/files/directory.h"
#include "platform/process/service_lister.h"
#include "platform/text/format.h"

namespace {

using sap_hana::Server_Port_Manager;
using sap_hana::System_Instance_Info;
using sap_hana::System_Instance_Info_List;

const char* const USAGE =
    "usage: host_report\n"
    "Shows every SAP HANA system and instance that runs on this host. Reading all of them takes root.\n"
    "Exit status: 0 if there is at least one, 1 if there is none or none can be read, 2 for a wrong call.\n";

enum Style { PLAIN, BOLD, GREEN, DIM };

bool terminal_has_colour() {
  const char* const refused = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): the only thread
  const char* const terminal = std::getenv("TERM");     // NOLINT(concurrency-mt-unsafe): the only thread
  return ::isatty(STDOUT_FILENO) && (refused == nullptr || *refused == '\0') && terminal != nullptr &&
         std::string(terminal) != "dumb";
}

// What is shown was set by whoever started the processes: nothing of it may command the terminal.
std::string printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return std::iscntrl(c) != 0; }, '?');
  return text;
}

std::string styled(Style style, const std::string& text) {
  static const bool colour = terminal_has_colour();
  static const char* const codes[] = {"0", "1", "32", "2"};
  return colour && style != PLAIN ? std::string("\033[") + codes[style] + "m" + text + "\033[0m" : text;
}

std::string or_unknown(const std::string& text) {
  return text.empty() ? styled(DIM, "unknown") : printable(text);
}

void print_field(const char* name, const std::string& value) {
  std::printf("    %-14s%s\n", name, value.c_str());
}

std::string count(std::size_t number, const std::string& thing) {
  return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

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

void print_system(const std::string& sid, const System_Instance_Info_List& instances) {
  const bool multi_container = sap_hana::System_Controller(sid).is_multi_container();
  std::string landscape_id;
  sap_hana::Environ_Getter::instance()->get_landscape_id(sid.c_str(), landscape_id);

  std::printf("\n%s\n", styled(BOLD, printable(sid)).c_str());
  print_field("mode", multi_container ? "multiple-container" : "single-container");
  print_field("landscape id", or_unknown(landscape_id));
  for (const System_Instance_Info& instance : instances)
    print_instance(instance, multi_container);
}

int report() {
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
    print_system(sid, of_system);
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) {
    const bool asked = argc == 2 && std::string(argv[1]) == "--help";
    (asked ? std::cout : std::cerr) << USAGE;
    return asked ? 0 : 2;
  }
  // What the library found wrong goes to standard error; what explains it would only be in the way here.
  ACE_LOG_MSG->priority_mask(LM_ERROR | LM_CRITICAL | LM_ALERT | LM_EMERGENCY, ACE_Log_Msg::PROCESS);
  ACE_LOG_MSG->priority_mask(0, ACE_Log_Msg::THREAD);
  return report();
}
