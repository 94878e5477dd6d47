#include "sandbox/host_description.h"

#include <algorithm>
#include <boost/property_tree/info_parser.hpp>
#include <cctype>
#include <functional>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>

namespace sandbox {

namespace {

using Tree = boost::property_tree::ptree;

// What to do with each key that a block may hold.
using Handlers = std::map<std::string, std::function<void(const std::string& value, const Tree& block)>>;

// The description's text, kept for the line numbers that the parsed tree no longer has.
class Source {
 public:
  explicit Source(const std::string& text) : text_(text) {}

  [[noreturn]] void fail(const std::string& key, const std::string& value, const std::string& what) const {
    throw Description_Error("host description, line " + std::to_string(line_of(key, value)) + ": " + what);
  }

 private:
  // The first line that holds the key followed by the value.
  int line_of(const std::string& key, const std::string& value) const {
    std::istringstream lines(text_);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
      const std::size_t found = line.substr(0, line.find(';')).find(key);
      if (found != std::string::npos && line.find(value, found + key.size()) != std::string::npos) return number;
    }
    return 1;
  }

  const std::string& text_;
};

std::string known_keys(const Handlers& handlers) {
  std::string keys;
  for (const auto& handler : handlers)
    keys += (keys.empty() ? "" : ", ") + handler.first;
  return keys;
}

void read_block(const Source& source, const Tree& block, const Handlers& handlers) {
  for (const auto& [key, child] : block) {
    const auto handler = handlers.find(key);
    if (handler == handlers.end())
      source.fail(key, child.data(), "unknown key '" + key + "'; possible here: " + known_keys(handlers));
    handler->second(child.data(), child);
  }
}

auto text_into(std::string& target) {
  return [&target](const std::string& value, const Tree&) { target = value; };
}

auto flag_into(const Source& source, const char* key, bool& target) {
  return [&source, key, &target](const std::string& value, const Tree&) {
    if (value != "yes" && value != "no") source.fail(key, value, std::string("'") + key + "' has to be yes or no");
    target = value == "yes";
  };
}

std::string checked_name(const Source& source, const char* key, const std::string& value, const char* pattern) {
  if (!std::regex_match(value, std::regex(pattern)))
    source.fail(key, value, std::string("'") + key + " " + value + "' is not a name of the form " + pattern);
  return value;
}

Instance_Description read_instance(const Source& source, const std::string& value, const Tree& block, bool hana) {
  Instance_Description instance;
  instance.name = hana ? "HDB" + checked_name(source, "instance", value, "[0-9][0-9]")
                       : checked_name(source, "instance", value, "[A-Z]+[0-9][0-9]");
  read_block(source, block,
             {{"version", text_into(instance.version)},
              {"old_version_format", flag_into(source, "old_version_format", instance.old_version_format)},
              {"running", flag_into(source, "running", instance.running)},
              {"listening",
               [&](const std::string& ports, const Tree&) {
                 std::istringstream stream(ports);
                 instance.listening.emplace(std::istream_iterator<int>(stream), std::istream_iterator<int>());
                 if (!stream.eof()) source.fail("listening", ports, "'listening' has to be ports");
               }},
              {"trace",
               [&instance](const std::string& name, const Tree&) {
                 if (!instance.traces) instance.traces.emplace();
                 if (!name.empty()) instance.traces->insert(name);
               }},
              {"start_service", flag_into(source, "start_service", instance.start_service)},
              {"systemd", flag_into(source, "systemd", instance.systemd)},
              {"unset",
               [&instance](const std::string& name, const Tree&) {
                 instance.environment.push_back({name, {}, true});
               }},
              {"environment", [&instance](const std::string&, const Tree& variables) {
                 for (const auto& [name, variable] : variables)
                   instance.environment.push_back({name, variable.data(), false});
               }}});
  return instance;
}

Tenant read_tenant(const Source& source, const std::string& name, const Tree& block) {
  Tenant tenant{name, name, true};
  read_block(source, block,
             {{"description", text_into(tenant.description)}, {"active", flag_into(source, "active", tenant.active)}});
  return tenant;
}

Database_User read_user(const Source& source, const std::string& name, const Tree& block) {
  Database_User user{name, {}};
  read_block(source, block, {{"password", text_into(user.password)}});
  return user;
}

Schema read_schema(const Source& source, const std::string& name, const Tree& block) {
  Schema schema;
  schema.name = name;
  read_block(source, block,
             {{"owner", text_into(schema.owner)},
              {"database", text_into(schema.database)},
              {"privileges", flag_into(source, "privileges", schema.privileges)}});
  return schema;
}

// Replaces the value of the same key, or adds it.
void set(std::vector<Ini_Setting>& ini, Ini_Setting setting) {
  const auto same = std::find_if(ini.begin(), ini.end(), [&setting](const Ini_Setting& other) {
    return other.file == setting.file && other.section == setting.section && other.key == setting.key;
  });
  if (same == ini.end()) {
    ini.push_back(std::move(setting));
  } else {
    same->value = std::move(setting.value);
  }
}

void read_ini(std::vector<Ini_Setting>& ini, const std::string& file, const Tree& block) {
  for (const auto& [name, child] : block) {
    if (child.empty()) set(ini, {file, "", name, child.data()});
    for (const auto& [key, value] : child)
      set(ini, {file, name, key, value.data()});
  }
}

void read_replication(const Source& source, std::vector<Ini_Setting>& ini, const Tree& block) {
  Handlers handlers;
  for (const char* key : {"mode", "actual_mode", "operation_mode", "site_id", "site_name"})
    handlers[key] = [&ini, key](const std::string& value, const Tree&) {
      set(ini, {"global.ini", "system_replication", key, value});
    };
  read_block(source, block, handlers);
}

void read_topology(const Source& source, std::vector<Ini_Setting>& ini, const Tree& block, const std::string& host) {
  Handlers handlers;
  for (const char* key : {"master", "worker", "standby", "active_master"})
    handlers[key] = [&ini, key](const std::string& value, const Tree&) {
      set(ini, {"nameserver.ini", "landscape", key, value});
    };
  handlers["role"] = [&ini, &host](const std::string& value, const Tree&) {
    set(ini, {"nameserver.ini", "", "roles_" + host, value});
  };
  read_block(source, block, handlers);
}

// A landscape id of its own for each system, always the same one.
std::string made_up_landscape_id(const std::string& sid) {
  std::string hex;
  for (const char c : sid) {
    constexpr const char* digits = "0123456789abcdef";
    hex += digits[(static_cast<unsigned char>(c) >> 4U) & 15U];
    hex += digits[static_cast<unsigned char>(c) & 15U];
  }
  hex.resize(12, '0');
  return "5fb0d5a1-7c3e-4d2b-9a60-" + hex;
}

// What the configuration files of every system hold, before its description adds to them.
std::vector<Ini_Setting> basic_configuration(const System_Description& system, const std::string& host) {
  const std::string number = system.instances.empty() ? "00" : system.instances.front().name.substr(3);
  std::vector<Ini_Setting> ini = {
      {"nameserver.ini", "", "roles_" + host, "worker"},
      {"nameserver.ini", "landscape", "id", made_up_landscape_id(system.sid)},
      {"nameserver.ini", "landscape", "master", host + ":3" + number + "01"},
      {"nameserver.ini", "landscape", "worker", host},
      {"nameserver.ini", "landscape", "active_master", host + ":3" + number + "01"},
      {"global.ini", "persistence", "basepath_datavolumes", "/hana/data/" + system.sid},
      {"global.ini", "persistence", "basepath_logvolumes", "/hana/log/" + system.sid},
  };
  if (system.multi_container) ini.push_back({"global.ini", "multidb", "mode", "multidb"});
  return ini;
}

System_Description read_system(const Source& source, const std::string& sid, const Tree& block,
                               const std::string& host) {
  System_Description system;
  system.sid = checked_name(source, "system", sid, "[^/\\s]+");
  std::string mode = "multi";
  std::string landscape_id;
  bool defaults = true;
  std::vector<std::pair<std::string, const Tree*>> ini_files;
  const Tree* topology = nullptr;
  const Tree* replication = nullptr;
  read_block(
      source, block,
      {{"mode", text_into(mode)},
       {"defaults", flag_into(source, "defaults", defaults)},
       {"landscape_id", text_into(landscape_id)},
       {"instance", [&](const std::string& value,
                        const Tree& child) { system.instances.push_back(read_instance(source, value, child, true)); }},
       {"tenant", [&](const std::string& value,
                      const Tree& child) { system.tenants.push_back(read_tenant(source, value, child)); }},
       {"user",
        [&](const std::string& value, const Tree& child) { system.users.push_back(read_user(source, value, child)); }},
       {"schema", [&](const std::string& value,
                      const Tree& child) { system.schemas.push_back(read_schema(source, value, child)); }},
       {"topology", [&](const std::string&, const Tree& child) { topology = &child; }},
       {"replication", [&](const std::string&, const Tree& child) { replication = &child; }},
       {"ini", [&](const std::string& file, const Tree& child) { ini_files.emplace_back(file, &child); }}});
  if (mode != "multi" && mode != "single") source.fail("mode", mode, "'mode' has to be multi or single");
  if (system.instances.empty()) source.fail("system", sid, "system " + sid + " has no instance");

  system.multi_container = mode == "multi";
  if (system.users.empty()) system.users.push_back({"SYSTEM", "Manager1"});
  if (defaults) system.ini = basic_configuration(system, host);
  if (!landscape_id.empty()) set(system.ini, {"nameserver.ini", "landscape", "id", landscape_id});
  if (topology != nullptr) read_topology(source, system.ini, *topology, host);
  if (replication != nullptr) read_replication(source, system.ini, *replication);
  for (const auto& [file, child] : ini_files)
    read_ini(system.ini, file, *child);
  return system;
}

System_Description read_application(const Source& source, const std::string& sid, const Tree& block) {
  System_Description system;
  system.sid = checked_name(source, "application", sid, "[^/\\s]+");
  system.hana = false;
  system.multi_container = false;
  read_block(source, block, {{"instance", [&](const std::string& value, const Tree& child) {
                                system.instances.push_back(read_instance(source, value, child, false));
                              }}});
  return system;
}

// Ports follow from the number, so no two databases can share one.
void check_numbers(const Source& source, const Host_Description& host) {
  std::map<std::string, int> taken;
  for (const System_Description& system : host.systems) {
    for (const Instance_Description& instance : system.instances) {
      const std::string number = instance.name.substr(instance.name.size() - 2);
      if (system.hana && taken[number]++ > 0)
        source.fail("instance", number, "instance number " + number + " is taken");
    }
  }
}

Tree parse_info(const std::string& text) {
  std::istringstream stream(text);
  Tree tree;
  try {
    boost::property_tree::read_info(stream, tree);
  } catch (const boost::property_tree::info_parser_error& error) {
    throw Description_Error("host description, line " + std::to_string(error.line()) + ": " + error.message());
  }
  return tree;
}

}  // namespace

Host_Description parse_description(const std::string& text) {
  const Tree tree = parse_info(text);
  const Source source(text);
  Host_Description host;
  host.name = checked_name(source, "host", tree.get("host", host.name), "[A-Za-z0-9._-]+");
  read_block(
      source, tree,
      {{"host", [](const std::string&, const Tree&) {}},
       {"host_agent", flag_into(source, "host_agent", host.host_agent)},
       {"system", [&](const std::string& sid,
                      const Tree& block) { host.systems.push_back(read_system(source, sid, block, host.name)); }},
       {"application", [&](const std::string& sid,
                           const Tree& block) { host.systems.push_back(read_application(source, sid, block)); }},
       {"sapservices",
        [&](const std::string&, const Tree& block) {
          host.sapservices_only = true;
          read_block(source, block,
                     {{"line", [&](const std::string& line, const Tree&) { host.sapservices.push_back(line); }}});
        }},
       {"sapservices_line", [&](const std::string& line, const Tree&) { host.sapservices.push_back(line); }}});
  check_numbers(source, host);
  return host;
}

std::string administrator(const std::string& sid) {
  std::string user = sid;
  std::transform(user.begin(), user.end(), user.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return user + "adm";
}

int instance_number(const std::string& instance_name) {
  return std::stoi(instance_name.substr(instance_name.size() - 2));
}

}  // namespace sandbox
