#include "hana/common/environ_getter.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/regex.hpp>
#include <cstring>

#include "hana/common/sapservices.h"
#include "platform/files/directory.h"
#include "platform/files/file_content.h"
#include "platform/files/ini_file.h"
#include "platform/log/log.h"
#include "platform/process/service_lister.h"
#include "platform/text/format.h"
#include "platform/text/natoi.h"

namespace sap_hana {
namespace {

using Singleton = ACE_Unmanaged_Singleton<Environ_Getter, ACE_Null_Mutex>;

// Takes one entry, "name=value", over into `val` if it is one of an instance. True if it is the instance number.
bool take_entry(const std::string& entry, HANA_Env_Value& val) {
  const struct {
    const char* prefix;
    std::string* value;
  } texts[] = {{"DIR_EXECUTABLE=", &val.dir_executable},
               {"HOSTNAME=", &val.hostname},
               {"DIR_INSTANCE=", &val.instance_dir},
               {"USER=", &val.user},
               {"SAPSYSTEMNAME=", &val.sid}};
  for (const auto& text : texts) {
    if (!boost::starts_with(entry, text.prefix)) continue;
    *text.value = entry.substr(std::strlen(text.prefix));
    return false;
  }

  static constexpr char NUMBER[] = "TINSTANCE=";
  if (!boost::starts_with(entry, NUMBER)) return false;
  val.instance_number = platform::natoi<std::uint16_t>(entry.c_str() + sizeof(NUMBER) - 1);
  return true;
}

// Takes over the entries of an environment, each ended by a NUL. True if one of them is the instance number.
bool take_environment(const std::string& environment, HANA_Env_Value& val) {
  bool numbered = false;
  for (std::size_t begin = 0; begin < environment.size();) {
    const std::size_t end = std::min(environment.find('\0', begin), environment.size());
    numbered = take_entry(environment.substr(begin, end - begin), val) || numbered;
    begin = end + 1;
  }
  return numbered;
}

// The last "HDB" with two digits after it counts.
bool take_number_from_directory(HANA_Env_Value& val) {
  static const boost::regex INSTANCE_DIR_RE(".*HDB([0-9][0-9]).*");
  try {
    boost::smatch match;
    if (!boost::regex_match(val.instance_dir, match, INSTANCE_DIR_RE)) return false;
    const std::string digits = match[1];
    val.instance_number = platform::natoi<std::uint16_t>(digits.c_str());
    return true;
  } catch (const std::exception& error) {
    platform::log_debug("Failed to search the instance directory: %s\n", error.what());
    return false;
  }
}

}  // namespace

__attribute__((destructor)) void Environ_Getter_fini() {
  Environ_Getter::close_instance();
}

Environ_Getter* Environ_Getter::instance() {
  return Singleton::instance();
}

void Environ_Getter::close_instance() {
  Singleton::close();
}

bool Environ_Getter::get(pid_t pid, HANA_Env_Value& val) const {
  return get_env_value(pid, val);
}

bool Environ_Getter::get_env_value(const pid_t& pid, HANA_Env_Value& val) const {
  if (pid == 0) {
    platform::log_error("Failed to get HANA environment value: pid is 0\n");
    return false;
  }

  const platform::snprintf_t<4096> path("/proc/%d/environ", static_cast<int>(pid));
  std::string environment;
  if (platform::read_regular_file(path.c_str(), environment) != platform::File_Read::DONE) {
    platform::log_error("Failed to open '%s'\n", path.c_str());
    return false;
  }

  if (take_environment(environment, val) || take_number_from_directory(val)) return true;
  platform::log_error("Failed to get instance number\n");
  return false;
}

bool Environ_Getter::get(const std::string& sid, HANA_Env_Value& val) const {
  const platform::snprintf_t<4096> pattern("%s.*exe/sapstartsrv", sid.c_str());
  std::list<platform::Service_Info> services;
  if (platform::Service_Lister().list_service(pattern.c_str(), services, false, "C") != 0 || services.empty()) {
    platform::log_error("Failed to get HANA envirnoment value: failed to list services\n");
    return false;
  }

  if (!get_env_value(services.front().pid, val)) {
    platform::log_error("Failed to get HANA envirnoment value\n");
    return false;
  }
  return get_landscape_id(sid.c_str(), val.landscape_id);
}

bool Environ_Getter::get_trace_dir(const std::string& sid, std::string& dir) const {
  const platform::snprintf_t<4096> pattern(".*pf=.*%s_HDB([0-9][0-9])_(\\S*).*", sid.c_str());
  try {
    const boost::regex line(pattern.c_str());

    std::string content;
    // What is not a regular file has no lines.
    if (platform::read_regular_file(SAPSERVICES_PATH, content) == platform::File_Read::FAILED) {
      platform::log_error("Failed to get trace dir: failed to open '%s'\n", SAPSERVICES_PATH);
      return false;
    }

    boost::cmatch match;
    if (!match_first_line(content, line, match)) return false;
    return platform::string_sprintf(dir, "/usr/sap/%s/HDB%s/%s/trace", sid.c_str(), match.str(1).c_str(),
                                    match.str(2).c_str());
  } catch (const std::exception& error) {
    platform::log_error("Failed to get trace dir: %s\n", error.what());
    return false;
  }
}

bool Environ_Getter::get_trace_dirs(const std::string& sid, std::list<std::string>& dirs) const {
  HANA_Env_Value val;
  if (!get(sid, val)) {
    platform::log_error("Failed to get trace dirs\n");
    return false;
  }

  for (const platform::Directory_Entry& entry : platform::iterate_directory(val.instance_dir, false, 0)) {
    const platform::snprintf_t<4096> dir("%s/%s/trace", val.instance_dir.c_str(), entry.name.c_str());
    if (platform::is_directory(dir.c_str())) dirs.push_back(dir.str());
  }
  return !dirs.empty();
}

bool Environ_Getter::get_landscape_id(const char* sid, std::string& id) const {
  const platform::snprintf_t<4096> path("/usr/sap/%s/SYS/global/hdb/custom/config/nameserver.ini", sid);
  if (!platform::is_regular_file(path.c_str())) {
    platform::log_error("Failed to get %s landscape_id: %s not exist\n", sid, path.c_str());
    return false;
  }

  try {
    id = platform::read_ini_file(path.c_str()).get<std::string>("landscape.id");
  } catch (const std::exception& error) {
    platform::log_error("Failed to get %s landscape_id: %s\n", sid, error.what());
    return false;
  }
  return !id.empty();
}

}  // namespace sap_hana
