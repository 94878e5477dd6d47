#include "hana/common/environ_getter.h"

#include <boost/regex.hpp>
#include <cerrno>

#include "hana/common/detail/sapservices.h"
#include "hana/common/detail/start_services.h"
#include "hana/common/detail/system_config_file.h"
#include "platform/files/directory.h"
#include "platform/files/file_content.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/process/process_search.h"
#include "platform/text/format.h"

namespace sap_hana {
namespace {

using Singleton = ACE_Unmanaged_Singleton<Environ_Getter, ACE_Null_Mutex>;

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

bool Environ_Getter::get_env_value(const pid_t& pid, HANA_Env_Value& val) const try {
  if (pid == 0) {
    platform::log_error("Failed to get HANA environment value: pid is 0\n");
    return false;
  }

  return read_environment(pid, val);
} catch (...) {
  return platform::failed();
}

bool Environ_Getter::get(const std::string& sid, HANA_Env_Value& val) const try {
  const platform::snprintf_t<4096> pattern("%s.*exe/sapstartsrv", sid.c_str());
  std::list<platform::Service_Info> services;
  if (!platform::find_processes(pattern.c_str(), services) || services.empty()) {
    platform::log_error("Failed to get HANA envirnoment value: failed to list services\n");
    return false;
  }

  if (!get_env_value(services.front().pid, val)) {
    platform::log_error("Failed to get HANA envirnoment value\n");
    return false;
  }
  return get_landscape_id(sid.c_str(), val.landscape_id);
} catch (...) {
  return platform::failed();
}

bool Environ_Getter::get_trace_dir(const std::string& sid, std::string& dir) const try {
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
} catch (...) {
  return platform::failed();
}

bool Environ_Getter::get_trace_dirs(const std::string& sid, std::list<std::string>& dirs) const try {
  HANA_Env_Value val;
  if (!get(sid, val)) {
    platform::log_error("Failed to get trace dirs\n");
    return false;
  }

  platform::Directory_Reader reader;
  platform::Directory_Entry entry;
  bool is_whole = reader.open(val.instance_dir.c_str(), false, 0) || reader.last_error() == ENOENT;
  while (is_whole && reader.read(entry)) {
    const platform::snprintf_t<4096> dir("%s/%s/trace", val.instance_dir.c_str(), entry.name.c_str());
    errno = 0;
    if (platform::is_directory(dir.c_str())) dirs.push_back(dir.str());
    is_whole = errno == 0 || errno == ENOENT || errno == ENOTDIR || errno == EACCES;
  }
  if (!is_whole || (reader.last_error() != 0 && reader.last_error() != ENOENT)) {
    platform::log_error("Failed to get trace dirs\n");
    return false;
  }
  return !dirs.empty();
} catch (...) {
  return platform::failed();
}

bool Environ_Getter::get_landscape_id(const char* sid, std::string& id) const try {
  const std::string path = system_config_path(sid, "nameserver.ini");
  if (!platform::is_regular_file(path)) {
    platform::log_error("Failed to get %s landscape_id: %s not exist\n", sid, path.c_str());
    return false;
  }

  std::string why;
  if (!read_system_config(path, {{"landscape.id", &id}}, why)) {
    platform::log_error("Failed to get %s landscape_id: %s\n", sid, why.c_str());
    return false;
  }
  return !id.empty();
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
