#pragma once

#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

// A host description that cannot be used; the text names the line.
class Description_Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Tenant {
  std::string name;
  std::string description;
  bool active = true;
};

struct Schema {
  std::string name;
  std::string owner = "SYSTEM";
  std::string database;  // the database that holds it; empty for the system database
  bool privileges = true;
};

// One value of a system's own ("SYSTEM" layer) configuration; an empty section stands before the first one.
struct Ini_Setting {
  std::string file;
  std::string section;
  std::string key;
  std::string value;
};

struct Database_User {
  std::string name;
  std::string password;
};

// A change to the environment of a start service.
struct Environment_Change {
  std::string name;
  std::string value;
  bool unset = false;
};

struct Instance_Description {
  std::string name;  // "HDB90"; of an application server also "ASCS01"
  std::string version = "2.00.071.00.1687900751";
  bool old_version_format = false;              // hdbsrvutil prints as HANA 1 did
  bool running = true;                          // the database's servers listen
  std::optional<std::set<int>> listening;       // on these ports alone
  std::optional<std::set<std::string>> traces;  // the entries of its directory that hold traces; else the host's name
  bool start_service = true;                    // sapstartsrv runs
  bool systemd = false;                         // the start service belongs to systemd, not to sapinit
  std::vector<Environment_Change> environment;
};

struct System_Description {
  std::string sid;
  bool hana = true;  // false for an application server system
  bool multi_container = true;
  std::vector<Instance_Description> instances;
  std::vector<Tenant> tenants;
  std::vector<Database_User> users;
  std::vector<Schema> schemas;
  std::vector<Ini_Setting> ini;  // nameserver.ini and global.ini complete: what the description implies comes first
};

struct Host_Description {
  std::string name = "hxehost";
  bool host_agent = true;
  std::vector<System_Description> systems;
  std::vector<std::string> sapservices;  // further lines, verbatim
  bool sapservices_only = false;         // no others
};

// Reads a description in the INFO format that docs/sandbox.md explains. Throws Description_Error.
Host_Description parse_description(const std::string& text);

// The text of the host that a sandbox holds when nobody asks for another.
const std::string& default_description();

// "hxeadm" for "HXE".
std::string administrator(const std::string& sid);

// 90 for "HDB90"; the last two characters of every instance name are its number.
int instance_number(const std::string& instance_name);

}  // namespace sandbox
