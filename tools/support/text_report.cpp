#include "tools/support/text_report.h"

#include <cstdio>

#include "platform/text/format.h"
#include "platform/text/printable.h"
#include "tools/support/terminal.h"

namespace tools {
namespace {

using platform::printable;

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
  std::printf("\n  %s\n", styled(BOLD, printable(instance.name)).c_str());
  print_field("state", instance.running ? styled(GREEN, "running") : styled(RED, "stopped"));
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
  std::list<std::string> shown;
  for (const std::string& host : hosts.value_or(std::list<std::string>{}))
    shown.push_back(printable(host));
  print_list(name, "", hosts ? shown : std::list<std::string>{styled(DIM, "-")});
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

void print_system(const System_Report& system) {
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
}

std::string summary(const std::list<System_Report>& systems) {
  std::size_t instances = 0;
  std::size_t stopped = 0;
  for (const System_Report& system : systems) {
    instances += system.instances.size();
    for (const Instance_Report& instance : system.instances)
      stopped += instance.running ? 0 : 1;
  }
  return count(systems.size(), "system") + ", " + count(instances, "instance") +
         (stopped == 0 ? "" : ", " + styled(RED, std::to_string(stopped) + " stopped"));
}

}  // namespace

void print_report(const std::list<System_Report>& systems, const std::function<void(const System_Report&)>& print_sql) {
  std::printf("SAP HANA on %s: %s\n", printable(host_name()).c_str(), summary(systems).c_str());
  for (const System_Report& system : systems) {
    print_system(system);
    print_sql(system);
    for (const Instance_Report& instance : system.instances)
      print_instance(instance);
  }
}

}  // namespace tools
