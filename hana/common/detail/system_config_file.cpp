#include "hana/common/detail/system_config_file.h"

#include <boost/property_tree/ptree.hpp>
#include <stdexcept>

#include "platform/files/ini_file.h"
#include "platform/log/log.h"
#include "platform/text/format.h"

namespace sap_hana {

std::string system_config_path(const char* sid, const char* name) {
  return platform::snprintf_t<256>("/usr/sap/%s/SYS/global/hdb/custom/config/%s", sid, name).str();
}

bool read_system_config(const std::string& path, std::initializer_list<Config_Entry> entries, std::string& why) {
  try {
    const auto file = platform::read_ini_file(path);
    for (const Config_Entry& entry : entries)
      *entry.value = file.get<std::string>(entry.key);
    return true;
  } catch (const boost::property_tree::ptree_bad_path& error) {
    why = error.what();
  } catch (const std::runtime_error& error) {
    why = error.what();
    platform::log_debug("%s\n", error.what());  // names the path
  }
  return false;
}

bool read_system_config(const std::string& path, const char* key, std::string& value) {
  std::string why;
  return read_system_config(path, {{key, &value}}, why);
}

}  // namespace sap_hana
