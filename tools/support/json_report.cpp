#include "tools/support/json_report.h"

#include <cstdio>

#include "platform/json/object.h"
#include "platform/json/text.h"

namespace tools {
namespace {

using platform::json::Array;
using platform::json::insert;
using platform::json::Object;
using platform::json::Value;

constexpr int SCHEMA = 1;  // counts up when a key goes or changes its type

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
  insert(object)("name", instance.name)("number", instance.number)("state", instance.running ? "running" : "stopped")(
      "host", json_of(instance.host))("version", json_of(instance.version))("user", json_of(instance.user))(
      "directory", json_of(instance.directory))("executables", json_of(instance.executables))(
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

}  // namespace

void print_json(const std::list<System_Report>& systems) {
  Array reports;
  for (const System_Report& system : systems)
    reports.push_back(json_of(system));
  Object report;
  insert(report)("schema", SCHEMA)("host", host_name())("systems", reports);
  std::printf("%s\n", platform::json::JSON_Dump(report, true).c_str());
}

}  // namespace tools
