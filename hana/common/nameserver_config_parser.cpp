#include "hana/common/nameserver_config_parser.h"

#include <boost/algorithm/string/split.hpp>

#include "hana/common/detail/system_config_file.h"
#include "hana/common/host_info_getter.h"
#include "platform/files/directory.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/text/format.h"

namespace sap_hana {
namespace {

// Sets a flag while it lives.
class Flag_Raiser {
 public:
  explicit Flag_Raiser(bool& flag) : flag_(flag), saved_(flag) { flag_ = true; }
  ~Flag_Raiser() { flag_ = saved_; }
  Flag_Raiser(const Flag_Raiser&) = delete;
  Flag_Raiser& operator=(const Flag_Raiser&) = delete;

 private:
  bool& flag_;
  bool saved_;
};

}  // namespace

Name_Server_Config_Parser::Name_Server_Config_Parser(const std::string& sid)
    : sid_(platform::kept_name(sid)), disable_log_(false) {
  try {
    path_ = system_config_path(sid_.c_str(), "nameserver.ini");
  } catch (...) {
    platform::failed();  // no file has an empty path
  }
}

bool Name_Server_Config_Parser::exist() {
  return !path_.empty() && platform::is_regular_file(path_);
}

bool Name_Server_Config_Parser::get_value(const char* key, std::string& value) {
  if (!exist()) {
    platform::log_error("Failed to get value from %s: file does not exist\n", path_.c_str());
    return false;
  }
  std::string why;
  if (read_system_config(path_, {{key, &value}}, why)) return true;
  if (!disable_log_) platform::log_error("Failed to get %s in %s: %s\n", key, path_.c_str(), why.c_str());
  return false;
}

bool Name_Server_Config_Parser::get_hosts(const char* key, std::list<std::string>& hosts) {
  std::string value;
  if (!get_value(key, value)) return false;
  const auto is_separator = [](char c) { return c == ' '; };
  boost::algorithm::split(hosts, value, is_separator, boost::algorithm::token_compress_on);
  return !hosts.empty();
}

bool Name_Server_Config_Parser::landscape_uuid(std::string& id) try {
  return exist() && read_system_config(path_, "landscape.id", id);
} catch (...) {
  return platform::failed();
}

bool Name_Server_Config_Parser::is_cluster(bool& cluster) try {
  cluster = false;
  const Flag_Raiser quiet(disable_log_);

  std::list<std::string> workers;
  if (!get_hosts("landscape.worker", workers)) return false;

  // Once more with the worker, to tell a key that is not there from a file that cannot be read any more.
  std::string worker = "\n";  // no file gives that
  std::string standby, why;
  const bool has_standby =
      read_system_config(path_, {{"landscape.worker", &worker}, {"landscape.standby", &standby}}, why);
  cluster = workers.size() >= 2 || has_standby;
  return cluster || worker != "\n";
} catch (...) {
  return platform::failed();
}

bool Name_Server_Config_Parser::is_active_master(bool& active) try {
  active = false;

  std::string host;
  if (!Host_Info_Getter(sid_).hostname(host)) {
    platform::log_error("Failed to check is active master nameserver: failed to get host name\n");
    return false;
  }
  std::string master;
  if (!get_value("landscape.active_master", master)) {
    platform::log_error("Failed to check is active master nameserver\n");
    return false;
  }
  active = master.compare(0, host.size() + 1, host + ":") == 0;
  return true;
} catch (...) {
  return platform::failed();
}

bool Name_Server_Config_Parser::get_master(std::list<std::string>& hosts) try {
  return get_hosts("landscape.master", hosts);
} catch (...) {
  return platform::failed();
}

bool Name_Server_Config_Parser::get_worker(std::list<std::string>& hosts) try {
  return get_hosts("landscape.worker", hosts);
} catch (...) {
  return platform::failed();
}

bool Name_Server_Config_Parser::get_standby(std::list<std::string>& hosts) try {
  return get_hosts("landscape.standby", hosts);
} catch (...) {
  return platform::failed();
}

bool Name_Server_Config_Parser::get_role(std::string& role) try {
  std::string host;
  if (!Host_Info_Getter(sid_).hostname(host)) {
    platform::log_error("Failed to get role: failed to get host name\n");
    return false;
  }
  std::string key;
  platform::string_sprintf(key, "roles_%s", host.c_str());
  return get_value(key.c_str(), role);
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
