#pragma once

#include <initializer_list>
#include <string>

namespace sap_hana {

// The path of one of a system's own configuration files: "global.ini" or "nameserver.ini".
std::string system_config_path(const char* sid, const char* name);

struct Config_Entry {
  const char* key;     // "section.key"
  std::string* value;  // where it goes
};

// Reads a configuration file anew and replaces the values in the order of the entries, until one is not there.
// False, with the cause in `why`, for such an entry, and if the file cannot be read or is no INI file, which is told at
// LM_DEBUG besides.
bool read_system_config(const std::string& path, std::initializer_list<Config_Entry> entries, std::string& why);

// The same for one value, for operations that have no message for it.
bool read_system_config(const std::string& path, const char* key, std::string& value);

}  // namespace sap_hana
