#include "tools/support/host_record.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <boost/property_tree/info_parser.hpp>
#include <boost/regex.hpp>
#include <cerrno>
#include <iostream>
#include <map>
#include <sstream>
#include <system_error>

#include "examples/log_reasons.h"
#include "hana/common/environ_getter.h"
#include "platform/files/file_content.h"
#include "platform/files/ini_file.h"
#include "platform/files/unique_fd.h"
#include "platform/process/service_lister.h"
#include "platform/text/printable.h"

namespace tools {
namespace {

using Tree = boost::property_tree::ptree;

constexpr const char* HEADER =
    "; A host as gustaikrum-report found it. No password and nothing from a database is in here.\n";

void add(Tree& tree, const std::string& key, const std::string& value) {
  tree.push_back({key, Tree(value)});
}

// Gives names away, or others for them.
class Names {
 public:
  explicit Names(bool anonymous) : anonymous_(anonymous) {}

  // "host1" for the first one, "host2.example" for one with a domain.
  std::string host(const std::string& name) {
    if (!anonymous_ || name.empty() || name == "localhost") return name;
    std::string& other = hosts_[name];
    if (other.empty())
      other = "host" + std::to_string(hosts_.size()) + (name.find('.') == std::string::npos ? "" : ".example");
    return other;
  }

  // "h1:39001 h2:39001", with or without ports.
  std::string hosts(const std::string& list) { return replaced(list, boost::regex("()([^\\s:]+)((?::\\d+)?)")); }

  // A line of sapservices, which names a host behind "HXE_HDB90_". Of an anonymous one only that is left that the
  // library reads.
  std::string start_command(const std::string& line) {
    boost::smatch command;
    const bool found = boost::regex_search(line, command, boost::regex("([^\\s;]*sapstartsrv\\s+)?pf=\\S*"));
    return !anonymous_ ? line : found ? replaced(command.str(), boost::regex("(_[A-Z]+[0-9][0-9]_)([^\\s/;]+)()")) : "";
  }

  std::string landscape_id(const std::string& id) {
    if (!anonymous_ || id.empty()) return id;
    return "00000000-0000-0000-0000-" + std::to_string(100000000001U + landscapes_++);
  }

 private:
  // With another name for what the second part of each match is.
  std::string replaced(const std::string& text, const boost::regex& pattern) {
    if (!anonymous_) return text;
    return boost::regex_replace(
        text, pattern, [&](const boost::smatch& match) { return match.str(1) + host(match.str(2)) + match.str(3); });
  }

  bool anonymous_;
  std::map<std::string, std::string> hosts_;
  unsigned landscapes_ = 0;
};

// The lines of "/usr/sap/sapservices" that start something.
Tree read_sapservices(Names& names) {
  Tree lines;
  std::string content;
  if (platform::read_regular_file("/usr/sap/sapservices", content) != platform::File_Read::DONE) return lines;
  std::istringstream stream(content);
  for (std::string line; std::getline(stream, line);) {
    if (line.find("pf=") != std::string::npos) add(lines, "line", names.start_command(line));
  }
  return lines;
}

// What is set of the six variables that the library reads, and the names of the others.
void read_environment(pid_t pid, Tree& instance, Names& names) {
  constexpr const char* VARIABLES[] = {"SAPSYSTEMNAME",  "TINSTANCE", "DIR_INSTANCE",
                                       "DIR_EXECUTABLE", "HOSTNAME",  "USER"};
  std::string content;
  platform::read_regular_file(("/proc/" + std::to_string(pid) + "/environ").c_str(), content);
  std::map<std::string, std::string> environment;
  std::istringstream stream(content);
  for (std::string entry; std::getline(stream, entry, '\0');) {
    const std::size_t equals = entry.find('=');
    if (equals != std::string::npos) environment[entry.substr(0, equals)] = entry.substr(equals + 1);
  }
  Tree set;
  for (const char* const name : VARIABLES) {
    const auto found = environment.find(name);
    if (found == environment.end()) {
      add(instance, "unset", name);
    } else {
      add(set, name, std::string(name) == "HOSTNAME" ? names.host(found->second) : found->second);
    }
  }
  instance.push_back({"environment", set});
}

// The keys that the library and its tools read.
constexpr struct {
  const char* file;
  const char* section;
  const char* key;
  bool hosts = false;
} INI_KEYS[] = {{"nameserver.ini", "landscape", "id"},
                {"nameserver.ini", "landscape", "master", true},
                {"nameserver.ini", "landscape", "worker", true},
                {"nameserver.ini", "landscape", "standby", true},
                {"nameserver.ini", "landscape", "active_master", true},
                {"global.ini", "multidb", "mode"},
                {"global.ini", "system_replication", "mode"},
                {"global.ini", "system_replication", "actual_mode"},
                {"global.ini", "system_replication", "operation_mode"},
                {"global.ini", "persistence", "log_mode"},
                {"global.ini", "persistence", "enable_auto_log_backup"},
                {"global.ini", "backup", "log_backup_using_backint"},
                {"global.ini", "backup", "catalog_backup_using_backint"}};

Tree pick(const Tree& ini, const std::string& file, Names& names) {
  constexpr const char* ROLES = "roles_";
  Tree picked;
  for (const auto& [key, value] : ini) {
    if (file == "nameserver.ini" && value.empty() && key.rfind(ROLES, 0) == 0)
      add(picked, ROLES + names.host(key.substr(std::char_traits<char>::length(ROLES))), value.data());
  }
  for (const auto& wanted : INI_KEYS) {
    const auto value = ini.get_optional<std::string>(std::string(wanted.section) + "." + wanted.key);
    if (wanted.file != file || !value) continue;
    if (picked.find(wanted.section) == picked.not_found()) picked.push_back({wanted.section, Tree()});
    add(picked.get_child(wanted.section), wanted.key,
        wanted.hosts                      ? names.hosts(*value)
        : std::string(wanted.key) == "id" ? names.landscape_id(*value)
                                          : *value);
  }
  return picked;
}

// A file that is not there, that the library cannot read or that tells it nothing is left out.
void read_ini_files(const std::string& sid, Tree& system, Names& names) {
  for (const char* const file : {"nameserver.ini", "global.ini"}) {
    try {
      const std::string path = "/usr/sap/" + sid + "/SYS/global/hdb/custom/config/" + file;
      Tree ini = pick(platform::read_ini_file(path), file, names);
      ini.data() = file;
      if (!ini.empty()) system.push_back({"ini", ini});
    } catch (const std::exception& error) {
      std::cerr << "left out: " << platform::printable(error.what()) << '\n';
    }
  }
}

// Left out where all servers listen that usually do.
void read_ports(const Instance_Report& report, Tree& instance) {
  std::string listening;
  bool usual = true;
  for (const Port_Report& port : report.ports) {
    const bool wanted = std::string(port.server) != "statistics server";
    usual = usual && port.listening == wanted;
    if (port.listening) listening += (listening.empty() ? "" : " ") + std::to_string(port.port);
  }
  if (listening.empty()) {
    add(instance, "running", "no");
  } else if (!usual) {
    add(instance, "listening", listening);
  }
}

// Its entries that have a directory "trace".
void read_traces(const Instance_Report& report, Tree& instance, Names& names) {
  if (report.trace_directories.empty()) add(instance, "trace", "");
  for (const std::string& directory : report.trace_directories) {
    const std::size_t begin = report.directory.size() + 1;
    add(instance, "trace", names.host(directory.substr(begin, directory.rfind('/') - begin)));
  }
}

Tree read_instance(pid_t pid, const std::string& number, const Instance_Report& report, Names& names) {
  Tree instance(number);
  add(instance, "version", report.version);
  // Before HANA 2 a version had four parts, and stood otherwise.
  const bool old = std::count(report.version.begin(), report.version.end(), '.') == 3;
  if (old) add(instance, "old_version_format", "yes");
  read_environment(pid, instance, names);
  read_ports(report, instance);
  read_traces(report, instance, names);
  return instance;
}

const Instance_Report* find(const System_Report& system, std::uint16_t number) {
  for (const Instance_Report& instance : system.instances) {
    if (instance.number == number) return &instance;
  }
  return nullptr;
}

// What stands before and in "HXE/HDB90/exe/sapstartsrv", which names a directory and need not be what the environment
// says.
constexpr const char* START_SERVICE = "([^/\\s]+)/HDB([0-9][0-9])/exe/sapstartsrv";

// One system by its directory; its instances are those of the report that runs there.
struct System_Record {
  Tree instances;
  bool multi_container = false;
};

void add_service(const platform::Service_Info& service, const std::list<System_Report>& reports, Names& names,
                 std::map<std::string, System_Record>& systems) {
  boost::smatch match;
  sap_hana::HANA_Env_Value environment{};
  if (!boost::regex_search(service.cmd, match, boost::regex(START_SERVICE)) ||
      !sap_hana::Environ_Getter::instance()->get(service.pid, environment))
    return;
  for (const System_Report& system : reports) {
    const Instance_Report* const report =
        system.sid == environment.sid ? find(system, environment.instance_number) : nullptr;
    if (report == nullptr) continue;
    System_Record& record = systems[match.str(1)];
    for (const auto& [key, other] : record.instances) {
      if (other.data() == match.str(2)) return;  // another process of the same instance
    }
    record.instances.push_back({"instance", read_instance(service.pid, match.str(2), *report, names)});
    record.multi_container = system.multi_container;
  }
}

std::list<platform::Service_Info> services(const char* pattern) {
  std::list<platform::Service_Info> found;
  platform::Service_Lister().list_service(pattern, found, false, "C");
  return found;
}

Tree describe(const std::list<System_Report>& reports, Names& names) {
  const Log_Reasons unused;  // what cannot be read is not there
  Tree host;
  add(host, "host", names.host(host_name()));
  add(host, "host_agent", services("/hostctrl/exe/sapstartsrv").empty() ? "no" : "yes");
  host.push_back({"sapservices", read_sapservices(names)});
  std::map<std::string, System_Record> systems;
  for (const platform::Service_Info& service : services(START_SERVICE))
    add_service(service, reports, names, systems);
  for (const auto& [sid, record] : systems) {
    Tree system(sid);
    add(system, "mode", record.multi_container ? "multi" : "single");
    add(system, "defaults", "no");
    for (const auto& instance : record.instances)
      system.push_back(instance);
    read_ini_files(sid, system, names);
    host.push_back({"system", system});
  }
  return host;
}

bool write_all(int file, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t written = ::write(file, text.data() + done, text.size() - done);
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) done += static_cast<std::size_t>(written);
  }
  return true;
}

}  // namespace

bool record_host(const std::string& path, const std::list<System_Report>& reports, bool anonymous) {
  Names names(anonymous);
  std::ostringstream text;
  text << HEADER;
  boost::property_tree::write_info(text, describe(reports, names));

  // Nothing that lies there is written over, be it a link that another user has left.
  const platform::Unique_Fd file(path == "-" ? ::dup(STDOUT_FILENO)
                                             : ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (file && write_all(file.get(), text.str())) return true;
  std::cerr << "cannot write " << path << ": " << std::generic_category().message(errno) << '\n';
  return false;
}

}  // namespace tools
