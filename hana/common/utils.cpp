#include "hana/common/utils.h"

#include <limits.h>
#include <sys/stat.h>

#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/split.hpp>
#include <vector>

#include "hana/common/detail/is_given.h"
#include "platform/files/chown_r.h"
#include "platform/files/path_conf.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/text/format.h"
#include "platform/text/natoi.h"
#include "platform/text/posix_time.h"

namespace sap_hana {
namespace {

constexpr const char* STATE_DIRECTORY = "/var/opt/kelvora/tarnvale/$COMPONENT/hana";
constexpr mode_t STATE_MODE = 0750;

std::string agent_path(platform::Path_Conf path) {
  path.fix("$COMPONENT", "agent");
  return path.str();
}

std::string catalog_path(const char* file_name) {
  platform::Path_Conf path(STATE_DIRECTORY, true, "catalog", STATE_MODE);
  path.append(file_name);
  return agent_path(path);
}

}  // namespace

std::string generate_instance_manager_name(const std::string& sid, const std::string& instance_name) try {
  return sid + "_" + instance_name;
} catch (...) {
  platform::failed();
  return {};
}

std::string generate_instance_manager_name(const std::string& sid, std::uint16_t instance_number) try {
  return platform::snprintf_t<64>("%s_HDB%02d", sid.c_str(), instance_number).str();
} catch (...) {
  platform::failed();
  return {};
}

bool instance_name_to_number(const std::string& name, std::uint16_t& number) {
  if (name.size() != 5 || !boost::starts_with(name, "HDB")) return false;
  number = platform::natoi<std::uint16_t>(name.data() + 3, name.data() + name.size());
  return true;
}

bool instance_number_to_name(std::uint16_t number, std::string& name) {
  return number <= 99 && platform::string_sprintf(name, "HDB%02d", number);
}

bool parse_version_string(const std::string& str, std::uint16_t& major, std::uint32_t& support_pack,
                          std::uint16_t& patch_number) try {
  if (str.empty()) return false;

  std::vector<std::string> pieces;
  boost::split(
      pieces, str, [](char c) { return c == '.'; }, boost::token_compress_on);
  if (pieces.size() != 5) return false;

  major = platform::natoi<std::uint16_t>(pieces[0].c_str());
  support_pack = static_cast<std::uint32_t>(platform::natoi<std::int32_t>(pieces[2].c_str()));
  patch_number = static_cast<std::uint16_t>(platform::natoi<std::int32_t>(pieces[3].c_str()));
  return true;
} catch (...) {
  return platform::failed();
}

bool ondemand_conf_path(const std::string& sid, const std::string& instance_name, const std::string& database,
                        std::string& path) try {
  if (sid.empty()) {
    platform::log_error("Failed to generate onadmend configuration file path: lack of necessary path\n");
    return false;
  }

  std::string name = "ondemand_" + sid;
  if (!instance_name.empty()) {
    name = "log_backup_" + sid + "_" + instance_name;
    if (!database.empty()) name += "_" + database;
  }
  path = agent_path(platform::Path_Conf(STATE_DIRECTORY, false, name, STATE_MODE));
  return true;
} catch (...) {
  return platform::failed();
}

bool hana_time_to_posix_time(const char* s, std::time_t& t) {
  return platform::local_to_posix_time(s, t, "%Y-%m-%dT%H:%M:%S%z");
}

bool change_file_group_to_sap(const char* path, const char* user) {
  if (platform::chown_r(path, user, "sapsys", true)) return true;
  // The message shows its placeholder, deliberately.
  platform::log_error("Failed to change file '%%s' group\n");
  return false;
}

bool change_directory_permission(const std::string& path, int permission) {
  if (path.empty()) return true;

  const auto mode = static_cast<mode_t>(permission);
  char parent[PATH_MAX];  // a longer path names nothing
  for (std::size_t slash = path.find('/'); slash < PATH_MAX - 1; slash = path.find('/', slash + 1)) {
    // The first one of an absolute path is the root directory, whose mode is set too, deliberately.
    parent[path.copy(parent, slash + 1)] = '\0';
    ::chmod(parent, mode);
  }
  ::chmod(path.c_str(), mode);
  return true;
}

bool catalog_conf_file_name(const char* origin_sid, const char* origin_database, const char* target_sid,
                            const char* target_database, std::string& name) try {
  if (!is_given(origin_sid, "Unexpected error in %N:%l, origin_sid is NULL or \"\":\n%?\n")) return false;
  if (!is_given(origin_database, "Unexpected error in %N:%l, origin_database is NULL or \"\":\n%?\n")) return false;
  if (!is_given(target_sid, "Unexpected error in %N:%l, target_sid is NULL or \"\":\n%?\n")) return false;
  if (!is_given(target_database, "Unexpected error in %N:%l, target_database is NULL or \"\":\n%?\n")) return false;

  const platform::snprintf_t<256> file("%s@%s-%s@%s", origin_sid, origin_database, target_sid, target_database);
  name = catalog_path(file.c_str());
  return true;
} catch (...) {
  return platform::failed();
}

bool restore_ext_conf_file(const char* sid, const char* database, std::string& name) try {
  if (!is_given(sid, "Unexpected error in %N:%l, sid is NULL or \"\":\n%?\n")) return false;
  if (!is_given(database, "Unexpected error in %N:%l, database is NULL or \"\":\n%?\n")) return false;

  const platform::snprintf_t<256> file("%s@%s-restore-ext-conf", sid, database);
  name = catalog_path(file.c_str());
  return true;
} catch (...) {
  return platform::failed();
}

bool database_pipe_path(const char* sid, const char* database, bool mdc, std::string& path) try {
  if (!is_given(sid, "Unexpected error in %N:%l, sid is NULL or \"\":\n%?\n")) return false;
  if (!is_given(database, "Unexpected error in %N:%l, database is NULL or \"\":\n%?\n")) return false;

  const std::string name = database;
  const bool tenant = mdc && name != "SYSTEMDB";
  path = std::string("/usr/sap/") + sid + "/SYS/global/hdb/backint/" + (tenant ? "DB_" : "") + name;
  return true;
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
