// host_report: shows every SAP HANA system and instance that runs on this host, as a text or as JSON.

#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <list>
#include <map>
#include <optional>
#include <string>

#include "examples/support/database_report.h"
#include "examples/support/password.h"
#include "examples/support/system_report.h"
#include "examples/support/terminal.h"
#include "hana/common/list_instances.h"
#include "platform/json/object.h"
#include "platform/json/text.h"
#include "platform/text/format.h"

namespace {

using namespace example;
using platform::json::Array;
using platform::json::insert;
using platform::json::Object;
using platform::json::Value;
using sap_hana::System_Instance_Info;
using sap_hana::System_Instance_Info_List;

const char* const USAGE =
    "usage: host_report [--sid SID] [--user NAME] [--password-file [SID=]FILE]...\n"
    "       host_report [--sid SID] --json\n"
    "Shows every SAP HANA system and instance that runs on this host. Reading all of them takes root, no password.\n"
    "What only SQL tells is shown for systems with a password: of all of them, or of the one named SID.\n"
    "\n"
    "--sid SID                    this system only\n"
    "--json                       as JSON, whose shape docs/guide.md gives; what only SQL tells is left out\n"
    "--user NAME                  the database user; SYSTEM if not given\n"
    "--password-file [SID=]FILE   the file that holds the user's password, - for standard input\n"
    "\n"
    "Exit status:\n"
    "  0  at least one instance is shown\n"
    "  1  none was found to run; the JSON then has no systems\n"
    "  2  wrong call, or no password could be read\n"
    "  3  start services run, but none could be read, or the report could not be written\n";

enum Exit_Status { SHOWN = 0, NONE = 1, WRONG_CALL = 2, FAILED = 3 };

struct Request {
  std::string sid;  // empty for all
  bool json = false;
  std::string user;
  std::map<std::string, platform::secure_string> passwords;  // by SID; "" for every other system
};

using Systems = std::map<std::string, System_Instance_Info_List>;  // running instances by SID, by number within it

std::string host_name() {
  char name[256] = "";
  ::gethostname(name, sizeof(name) - 1);
  return name;
}

void print_trace_directories(const std::list<std::string>& directories) {
  const char* name = "trace";
  for (const std::string& directory : directories) {
    print_field(name, printable(directory));
    name = "";
  }
}

void print_ports(const std::vector<Port_Report>& ports) {
  const char* name = "ports";
  for (const Port_Report& port : ports) {
    std::printf("    %-14s%u  %-22s%s\n", name, static_cast<unsigned>(port.port), port.server,
                (port.listening ? styled(GREEN, "listening") : styled(DIM, "-")).c_str());
    name = "";
  }
}

void print_instance(const Instance_Report& instance) {
  std::printf("\n  %s\n", styled(BOLD, instance.name).c_str());
  print_field("number", platform::snprintf_t<8>("%02d", instance.number).str());
  print_field("host", or_unknown(instance.host));
  print_field("version", or_unknown(instance.version));
  print_field("user", or_unknown(instance.user));
  print_field("directory", or_unknown(instance.directory));
  print_field("executables", or_unknown(instance.executables));
  print_trace_directories(instance.trace_directories);
  print_ports(instance.ports);
}

void print_hosts(const char* name, const std::optional<std::list<std::string>>& hosts) {
  print_field(name, hosts ? printable(join(*hosts)) : styled(DIM, "-"));
}

void print_answer(const char* name, std::optional<bool> answer, const char* yes, const char* no) {
  print_field(name, !answer ? or_unknown("") : *answer ? yes : no);
}

void print_replication(const System_Report& system) {
  if (system.replication_mode.empty()) {
    print_field("replication", styled(DIM, "none"));
    return;
  }
  const std::string operation = system.operation_mode.empty() ? "" : ", " + system.operation_mode;
  print_field("replication", printable(system.replication_mode + operation));
}

void print_sql(System_Instance_Info instance, bool multi_container, const Request& request) {
  auto password = request.passwords.find(instance.system_info.sid);
  if (password == request.passwords.end()) password = request.passwords.find("");
  if (password == request.passwords.end()) {
    print_field("SQL", styled(DIM, "left out: no password was given (--password-file)"));
    return;
  }
  instance.system_info.multi_container = multi_container;  // a listing does not tell
  print_databases(instance, request.user.empty() ? "SYSTEM" : request.user, password->second);
}

void print_system(const System_Report& system, const System_Instance_Info& for_sql, const Request& request) {
  std::printf("\n%s\n", styled(BOLD, printable(system.sid)).c_str());
  print_field("mode", system.multi_container ? "multiple-container" : "single-container");
  print_field("landscape id", or_unknown(system.landscape_id));
  print_hosts("master", system.master);
  print_hosts("worker", system.worker);
  print_hosts("standby", system.standby);
  print_answer("cluster", system.cluster, "yes", "no");
  print_answer("active master", system.active_master, "this host", "another host");
  print_field("role", or_unknown(system.role));
  print_replication(system);
  print_sql(for_sql, system.multi_container, request);
  for (const Instance_Report& instance : system.instances)
    print_instance(instance);
}

void print_report(const Systems& systems, const Request& request) {
  std::size_t instances = 0;
  for (const auto& [sid, of_system] : systems)
    instances += of_system.size();
  std::printf("SAP HANA on %s: %s, %s\n", host_name().c_str(), count(systems.size(), "system").c_str(),
              count(instances, "instance").c_str());
  for (const auto& [sid, of_system] : systems)
    print_system(read_system(sid, of_system), of_system.front(), request);
}

// null for what is not known.
Value json_of(const std::string& text) {
  return text.empty() ? Value() : Value(text);
}

Value json_of(std::optional<bool> answer) {
  return answer ? Value(*answer) : Value();
}

Value json_of(const std::optional<std::list<std::string>>& texts) {
  return texts ? Value(Array(texts->begin(), texts->end())) : Value();
}

Value json_of(const Port_Report& port) {
  Object object;
  insert(object)("server", port.server)("port", port.port)("listening", port.listening);
  return object;
}

Value json_of(const Instance_Report& instance) {
  Array ports;
  for (const Port_Report& port : instance.ports)
    ports.push_back(json_of(port));
  Object object;
  insert(object)("name", instance.name)("number", instance.number)("host", json_of(instance.host))(
      "version", json_of(instance.version))("user", json_of(instance.user))("directory", json_of(instance.directory))(
      "executables", json_of(instance.executables))(
      "trace_directories", Array(instance.trace_directories.begin(), instance.trace_directories.end()))("ports", ports);
  return object;
}

Value json_of(const System_Report& system) {
  Array instances;
  for (const Instance_Report& instance : system.instances)
    instances.push_back(json_of(instance));
  Object object;
  insert(object)("sid", system.sid)("multi_container", system.multi_container)(
      "landscape_id", json_of(system.landscape_id))("master", json_of(system.master))("worker", json_of(system.worker))(
      "standby", json_of(system.standby))("cluster", json_of(system.cluster))(
      "active_master", json_of(system.active_master))("role", json_of(system.role))(
      "replication_mode", json_of(system.replication_mode))("operation_mode", json_of(system.operation_mode))(
      "instances", instances);
  return object;
}

void print_json(const Systems& systems) {
  Array reports;
  for (const auto& [sid, of_system] : systems)
    reports.push_back(json_of(read_system(sid, of_system)));
  Object report;
  insert(report)("host", host_name())("systems", reports);
  std::printf("%s\n", platform::json::JSON_Dump(report, true).c_str());
}

Systems by_system(const System_Instance_Info_List& instances, const std::string& only) {
  Systems systems;
  for (const System_Instance_Info& instance : instances) {
    const std::string& sid = instance.system_info.sid;
    if (only.empty() || sid == only) systems[sid].push_back(instance);
  }
  for (auto& [sid, of_system] : systems)
    of_system.sort([](const auto& a, const auto& b) { return a.instance_number < b.instance_number; });
  return systems;
}

// Says what stands in the way of a report that shows something.
Exit_Status judge(bool services_run, const System_Instance_Info_List& instances, const Systems& systems,
                  const std::string& sid) {
  if (!systems.empty()) return SHOWN;
  if (services_run && instances.empty()) {
    std::cerr << "host_report: SAP HANA runs on " << host_name() << ", but no instance could be read"
              << (::geteuid() == 0 ? "" : "; try it as root") << '\n';
    return FAILED;
  }
  std::cerr << "host_report: no SAP HANA instance" << (sid.empty() ? "" : " of " + sid) << " runs on " << host_name()
            << '\n';
  return NONE;
}

int report(const Request& request) {
  System_Instance_Info_List instances;
  const bool services_run = sap_hana::System_Instance_Lister().list(instances);
  const Systems systems = by_system(instances, request.sid);

  const Exit_Status status = judge(services_run, instances, systems, request.sid);
  if (request.json && status != FAILED) {
    print_json(systems);
  } else if (status == SHOWN) {
    print_report(systems, request);
  }
  return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? status : FAILED;
}

// "HXE=FILE" is for one system, "FILE" for every other.
bool add_password(const std::string& option, Request& request) {
  const bool named = option.size() > 4 && option[3] == '=';
  return read_password(named ? option.substr(4) : option, request.passwords[named ? option.substr(0, 3) : ""]);
}

bool usage() {
  std::cerr << USAGE;
  return false;
}

// False, with the reason on standard error, for a wrong call.
bool parse(char** argument, Request& request) {
  for (; *argument != nullptr; ++argument) {
    const std::string option = *argument;
    if (option == "--json") {
      request.json = true;
      continue;
    }
    const char* const value = *++argument;
    if (value == nullptr || *value == '\0') return usage();
    if (option == "--sid") {
      request.sid = value;
    } else if (option == "--user") {
      request.user = value;
    } else if (option != "--password-file") {
      return usage();
    } else if (!add_password(value, request)) {
      return false;
    }
  }
  return !request.json || (request.user.empty() && request.passwords.empty()) || usage();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::string(argv[1]) == "--help") {
    std::cout << USAGE;
    return SHOWN;
  }
  log_errors_only();
  Request request;
  return parse(argv + 1, request) ? report(request) : WRONG_CALL;
}
