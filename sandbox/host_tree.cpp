#include "sandbox/host_tree.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "sandbox/database.h"
#include "sandbox/etc_files.h"
#include "sandbox/paths.h"
#include "sandbox/templates.h"
#include "sandbox/way.h"

namespace sandbox {

namespace {

namespace fs = std::filesystem;

constexpr gid_t sapsys_group = 79;
// Every administrator's supplementary groups, on both sides of the primary one.
constexpr gid_t installation_group = 78;
constexpr gid_t shared_memory_group = 60000;
constexpr uid_t first_user = 60001;

// The programs that one stand-in plays.
constexpr const char* hana_programs[] = {"sapstartsrv",      "hdbdaemon",      "hdbnameserver",       "hdbpreprocessor",
                                         "hdbcompileserver", "hdbindexserver", "hdbstatisticsserver", "hdbsql"};

void write_file(const fs::path& path, const std::string& text, mode_t mode = 0644) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!(file << text << std::flush)) throw std::runtime_error("sandbox: cannot write " + path.string());
  file.close();
  ::chmod(path.c_str(), mode);
}

void replace(std::string& text, const std::string& name, const std::string& value) {
  for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + value.size()))
    text.replace(at, name.size(), value);
}

std::string fill_in(const char* form, const std::vector<std::pair<std::string, std::string>>& values) {
  std::string text = form;
  for (const auto& [name, value] : values)
    replace(text, "@" + name + "@", value);
  return text;
}

std::string port(const std::string& instance, int offset) {
  return std::to_string(30000 + 100 * instance_number(instance) + offset);
}

// A number in two digits, as it stands at the end of an instance's name.
std::string two_digits(const std::string& instance) {
  return instance.substr(instance.size() - 2);
}

using Environment = std::vector<std::pair<std::string, std::string>>;

Environment basic_environment(const System_Description& system, const std::string& instance, const std::string& host) {
  const std::string dir = instance_dir(system.sid, instance);
  const std::string user = administrator(system.sid);
  return {{"SAPSYSTEMNAME", system.sid},
          {"TINSTANCE", two_digits(instance)},
          {"DIR_INSTANCE", dir},
          {"DIR_EXECUTABLE", dir + "/exe"},
          {"DIR_LIBRARY", dir + "/exe"},
          {"SAP_RETRIEVAL_PATH", dir + "/" + host},
          {"HOSTNAME", host},
          {"USER", user},
          {"LOGNAME", user},
          {"HOME", "/usr/sap/" + system.sid + "/home"},
          {"SHELL", "/bin/sh"},
          {"LANG", "en_US.UTF-8"},
          {"PATH", dir + "/exe:" + dir + ":/usr/local/bin:/usr/bin:/bin"},
          {"LD_LIBRARY_PATH", dir + "/exe"}};
}

void apply(Environment& environment, const std::vector<Environment_Change>& changes) {
  for (const Environment_Change& change : changes) {
    for (auto entry = environment.begin(); entry != environment.end();)
      entry = entry->first == change.name ? environment.erase(entry) : entry + 1;
    if (!change.unset) environment.emplace_back(change.name, change.value);
  }
}

// A start profile. Its SETENV lines are the whole environment of the start service.
std::string profile(const System_Description& system, const Instance_Description& instance, const std::string& host) {
  Environment environment = basic_environment(system, instance.name, host);
  apply(environment, instance.environment);

  std::string text = "SAPSYSTEMNAME = " + system.sid + "\nSAPLOCALHOST = " + host +
                     "\nSAPSYSTEM = " + two_digits(instance.name) + "\nINSTANCE_NAME = " + instance.name + "\n";
  int line = 0;
  for (const auto& [name, value] : environment) {
    text.append(line < 10 ? "SETENV_0" : "SETENV_").append(std::to_string(line)).append(" = ");
    text.append(name).append("=").append(value).append("\n");
    ++line;
  }
  return text;
}

std::string sapservices_line(const System_Description& system, const Instance_Description& instance,
                             const std::string& host) {
  const std::string exe = instance_dir(system.sid, instance.name) + "/exe";
  const std::string pf = "pf=" + profile_path(system.sid, instance.name, host);
  if (instance.systemd)
    return "systemctl --no-ask-password start SAP" + system.sid + "_" + two_digits(instance.name) + " # sapstartsrv " +
           pf;
  return "LD_LIBRARY_PATH=" + exe + ":$LD_LIBRARY_PATH;export LD_LIBRARY_PATH;" + exe + "/sapstartsrv " + pf +
         " -D -u " + administrator(system.sid);
}

std::string sapservices(const Host_Description& host) {
  std::string text = "#!/bin/sh\nlimit.descriptors=1048576\n";
  for (const System_Description& system : host.systems) {
    if (host.sapservices_only) break;
    for (const Instance_Description& instance : system.instances)
      text += sapservices_line(system, instance, host.name) + "\n";
  }
  for (const std::string& line : host.sapservices)
    text += line + "\n";
  return text;
}

// Sections in the order in which they are first named; what has no section comes first.
std::string ini_text(const std::vector<Ini_Setting>& settings, const std::string& file) {
  std::vector<std::string> sections = {""};
  std::set<std::string> known = {""};
  for (const Ini_Setting& setting : settings) {
    if (setting.file == file && known.insert(setting.section).second) sections.push_back(setting.section);
  }
  std::string text = "# " + file + " last modified 2026-01-31 09:21:44.018112 by hdbnameserver\n";
  for (const std::string& section : sections) {
    if (!section.empty()) text += "\n[" + section + "]\n";
    for (const Ini_Setting& setting : settings) {
      if (setting.file == file && setting.section == section) text += setting.key + " = " + setting.value + "\n";
    }
  }
  return text;
}

void write_configuration(const System_Description& system) {
  const fs::path dir = "/usr/sap/" + system.sid + "/SYS/global/hdb/custom/config";
  fs::create_directories(dir);
  std::set<std::string> files;
  for (const Ini_Setting& setting : system.ini)
    files.insert(setting.file);
  for (const std::string& file : files)
    write_file(dir / file, ini_text(system.ini, file));
}

std::string version_text(const Instance_Description& instance) {
  return fill_in(instance.old_version_format ? old_version_form : version_form, {{"VERSION", instance.version}});
}

// Where this program lies, found out as it starts: inside, its path may lead nowhere.
const fs::path& program_folder() {
  static const fs::path folder = [] {
    std::error_code ignored;
    return fs::read_symlink("/proc/self/exe", ignored).parent_path();
  }();
  return folder;
}
[[maybe_unused]] const fs::path& found_at_the_start = program_folder();

// Beside this program or its folder where they are built, or where it is installed.
fs::path stand_in() {
  for (const char* const path : {"sandbox_tool", "../sandbox/sandbox_tool", SANDBOX_TOOL_FROM_BIN}) {
    if (fs::exists(program_folder() / path)) return program_folder() / path;
  }
  throw std::runtime_error("sandbox: there is no sandbox_tool for " + program_folder().string());
}

// Each system has a copy of the stand-in, because a link's owner is that of the file.
std::string tool_of(const std::string& sid) {
  std::string tool = system_state(sid) + "/tool";
  if (!fs::exists(tool)) fs::copy_file(stand_in(), tool);
  ::chmod(tool.c_str(), 0755);
  return tool;
}

void link_programs(const fs::path& exe, const System_Description& system) {
  for (const char* program : hana_programs) {
    fs::create_hard_link(tool_of(system.sid), exe / program);
    if (!system.hana) break;  // the start service alone
  }
}

void write_hdb_script(const fs::path& dir, const System_Description& system, const Instance_Description& instance,
                      const std::string& host) {
  write_file(dir / "HDB",
             fill_in(hdb_form, {{"DIR", dir.string()},
                                {"SID", system.sid},
                                {"INSTANCE", instance.name},
                                {"NUMBER", two_digits(instance.name)},
                                {"STATE", system_state(system.sid)},
                                {"PROFILE", profile_path(system.sid, instance.name, host)},
                                {"USER", administrator(system.sid)}}),
             0755);
}

// One line a server: its name and port, in the order in which they are started.
std::string server_list(const System_Description& system, const Instance_Description& instance) {
  const struct {
    const char* name;
    int offset;
    bool usual = true;
  } servers[] = {{"hdbdaemon", 0},
                 {"hdbnameserver", 1},
                 {"hdbpreprocessor", 2},
                 {"hdbcompileserver", 10},
                 {"hdbindexserver", system.multi_container ? 13 : 15},
                 {"hdbstatisticsserver", 17, false}};
  std::string list;
  std::set<int> left = instance.listening.value_or(std::set<int>{});
  for (const auto& server : servers) {
    const std::string its_port = port(instance.name, server.offset);
    const bool listens = left.erase(std::stoi(its_port)) > 0;
    if (instance.listening ? listens : server.usual) list.append(server.name).append(" ").append(its_port).append("\n");
  }
  if (!left.empty())
    throw Description_Error("host description: no server of " + system.sid + " " + instance.name + " listens on port " +
                            std::to_string(*left.begin()));
  return list;
}

void build_instance(const System_Description& system, const Instance_Description& instance, const std::string& host) {
  const fs::path dir = instance_dir(system.sid, instance.name);
  fs::create_directories(dir / "exe");
  fs::create_directories(dir / "work");
  link_programs(dir / "exe", system);
  write_file(profile_path(system.sid, instance.name, host), profile(system, instance, host));
  if (!system.hana) return;

  for (const std::string& entry : instance.traces.value_or(std::set<std::string>{host}))
    fs::create_directories(dir / entry / "trace");
  write_file(dir / "exe" / "manifest", version_text(instance));
  write_file(dir / "exe" / "hdbsrvutil", hdbsrvutil_form, 0755);
  write_file(system_state(system.sid) + "/" + instance.name + ".servers", server_list(system, instance));
  write_hdb_script(dir, system, instance, host);
}

void give_to(const fs::path& root, uid_t user) {
  // With one user only there is nobody to give anything to.
  if (!second_user_available()) return;
  std::vector<fs::path> paths = {root};
  for (const auto& entry : fs::recursive_directory_iterator(root))
    paths.push_back(entry.path());
  for (const fs::path& path : paths) {
    if (::lchown(path.c_str(), user, sapsys_group) != 0)
      throw std::system_error(errno, std::generic_category(), path.string());
  }
}

void build_system(const System_Description& system, const std::string& host, uid_t user) {
  const fs::path root = "/usr/sap/" + system.sid;
  fs::create_directories(root / "home");
  fs::create_directories(root / "SYS" / "profile");
  const std::string state = system_state(system.sid);
  fs::create_directories(state);
  if (system.hana) {
    write_configuration(system);
    create_database(state + "/database", system);
    ::chmod((state + "/database").c_str(), 0666);
  }
  for (const Instance_Description& instance : system.instances)
    build_instance(system, instance, host);
  // Whoever runs a tool leaves traces here.
  ::chmod(state.c_str(), 0777);
  give_to(root, user);
}

void build_host_agent(const std::string& host) {
  const fs::path exe = "/usr/sap/hostctrl/exe";
  fs::create_directories(exe);
  fs::create_directories(system_state("hostctrl"));
  fs::create_hard_link(tool_of("hostctrl"), exe / "sapstartsrv");
  write_file(exe / "host_profile",
             "SAPSYSTEMNAME = SAP\nSAPLOCALHOST = " + host +
                 "\nSAPSYSTEM = 99\nINSTANCE_NAME = hostctrl\nSETENV_00 = SAPSYSTEMNAME=SAP\n"
                 "SETENV_01 = HOSTNAME=" +
                 host + "\nSETENV_02 = DIR_EXECUTABLE=/usr/sap/hostctrl/exe\nSETENV_03 = PATH=/usr/bin:/bin\n");
}

// The systems' distinct SIDs in order; the first one's administrator is `first_user`.
std::vector<std::string> distinct_sids(const Host_Description& host) {
  std::vector<std::string> sids;
  std::set<std::string> known;
  for (const System_Description& system : host.systems) {
    if (known.insert(system.sid).second) sids.push_back(system.sid);
  }
  return sids;
}

void add_names(const Host_Description& host, const std::vector<std::string>& sids) {
  std::vector<std::string> users;
  std::string members;
  uid_t uid = first_user;
  for (const std::string& sid : sids) {
    const std::string user = administrator(sid);
    users.push_back(user + ":*:" + std::to_string(uid++) + ":" + std::to_string(sapsys_group) + ":SAP System " + sid +
                    ":/usr/sap/" + sid + "/home:/bin/sh");
    members += (members.empty() ? "" : ",") + user;
  }
  add_etc_lines("passwd", users);
  add_etc_lines("group", {"sapsys:*:" + std::to_string(sapsys_group) + ":",
                          "sapinst:*:" + std::to_string(installation_group) + ":" + members,
                          "hdbshm:*:" + std::to_string(shared_memory_group) + ":" + members});
  add_etc_lines("hosts", {"127.0.0.1 " + host.name});
}

uid_t user_of(const std::vector<std::string>& sids, const std::string& sid) {
  uid_t uid = first_user;
  for (std::size_t i = 0; sids[i] != sid; ++i)
    ++uid;
  return uid;
}

void remove_all_but(const fs::path& dir, const std::string& kept) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(dir, ignored)) {
    if (entry.path().filename() != kept) fs::remove_all(entry.path(), ignored);
  }
}

}  // namespace

void build_tree(const Host_Description& host) {
  const std::vector<std::string> sids = distinct_sids(host);
  add_names(host, sids);
  for (const System_Description& system : host.systems)
    build_system(system, host.name, user_of(sids, system.sid));
  if (host.host_agent) build_host_agent(host.name);
  write_file("/usr/sap/sapservices", sapservices(host), 0755);
  // Refused on the plain way, where the machine keeps its name.
  if (way_inside() != Way::plain && ::sethostname(host.name.data(), host.name.size()) != 0)
    throw std::system_error(errno, std::generic_category(), "sethostname");
}

void remove_tree() {
  try {
    remove_etc_lines();
    remove_all_but("/usr/sap", ".sandbox");
    remove_all_but(state_dir, "way");
  } catch (const std::exception& error) {
    // The record of the lines stays, and with it the mark of a leftover.
    std::fprintf(stderr, "sandbox: %s\n", error.what());
  }
}

}  // namespace sandbox
