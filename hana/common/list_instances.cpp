#include "hana/common/list_instances.h"

#include <unistd.h>

#include <algorithm>
#include <boost/regex.hpp>
#include <set>
#include <utility>
#include <vector>

#include "hana/common/detail/start_service.h"
#include "hana/common/environ_getter.h"
#include "hana/common/utils.h"
#include "platform/log/log.h"
#include "platform/process/process_ex.h"
#include "platform/process/text_process_handler.h"

namespace sap_hana {

boost::regex GET_VERSION_RE("\\s*version:\\s*([0-9\\.]*).*");

namespace {

// Takes the version from the output of "hdbsrvutil -v": the last line that has one, "version:  2.00.071.00.1687900751".
class Get_Version_Line_Handler : public platform::Text_Process_Handler {
 public:
  explicit Get_Version_Line_Handler(std::string& version) : Text_Process_Handler(0), version_(version) {}

  int handle_stdout_line(const char* line, std::size_t len) override {
    if (line == nullptr || len == 0) return 0;
    try {
      boost::cmatch match;
      if (boost::regex_search(line, line + len, match, GET_VERSION_RE)) version_ = match[1];
    } catch (const std::exception& error) {
      platform::log_debug("Failed to search a line for the version: %s\n", error.what());
    }
    return 0;
  }

 private:
  std::string& version_;
};

bool tells_of_a_system(const HANA_Env_Value& environment) {
  return !environment.sid.empty() && !environment.hostname.empty();
}

}  // namespace

bool System_Instance_Lister::list_service(std::list<platform::Service_Info>& services) const {
  if (platform::Service_Lister().list_service("HDB[0-9][0-9]/exe/sapstartsrv", services, false, "C") != 0) {
    platform::log_error("Failed to get HANA services\n");
    return false;
  }
  return !services.empty();
}

bool System_Instance_Lister::get_version(const std::string& dir_executable, const std::string& user,
                                         std::string& version) const {
  if (dir_executable.empty()) {
    platform::log_error("Failed to get HANA version: executable dir is empty\n");
    return false;
  }

  const bool is_root = ::geteuid() == 0;
  if (is_root && user.empty()) {
    platform::log_error("Failed to get HANA version\n");
    return false;
  }

  platform::Process_Options options;
  if (is_root && user != "root") options.setreugid(user.c_str());
  options.setenv("LD_LIBRARY_PATH", "%s", dir_executable.c_str());
  options.command_line("%s/hdbsrvutil -v", dir_executable.c_str());

  Get_Version_Line_Handler handler(version);
  if (handler.call(platform::ACE_Process_Ex::REDIRECT_STDOUT_STDERR, options) != 0) {
    platform::log_error("Failed to get HANA version\n");
    return false;
  }
  return true;
}

bool System_Instance_Lister::list(System_Instance_Info_List& infos) const {
  std::list<platform::Service_Info> services;
  if (!list_service(services)) return false;

  std::set<std::string> listed;
  const auto add = [&](const HANA_Env_Value& environment, const std::string& user) {
    std::string name;
    if (!instance_number_to_name(environment.instance_number, name)) return;
    if (!listed.insert(generate_instance_manager_name(environment.sid, name)).second) return;

    System_Instance_Info& info = infos.emplace_back();
    info.system_info.sid = environment.sid;
    info.instance_number = environment.instance_number;
    info.system_info.localhost = environment.hostname;
    info.dir_executable = environment.dir_executable;
    info.instance_name = name;
    get_version(info.dir_executable, user, info.system_info.version);  // it has said why it has none
  };

  // What only looks like a start service comes last, so that it takes the place of no true one.
  std::vector<HANA_Env_Value> pretended;
  for (const platform::Service_Info& process : services) {
    Start_Service service;
    if (!read_start_service(process.pid, service) || !tells_of_a_system(service.environment)) continue;
    const std::string user = believed_user(service, service.environment.sid);
    if (user.empty()) {
      pretended.push_back(std::move(service.environment));
    } else {
      add(service.environment, user);
    }
  }
  for (const HANA_Env_Value& environment : pretended)
    add(environment, "");
  return true;
}

bool System_Instance_Lister::list(System_Instance_Info& info, const std::string& sid, const std::string& name) const {
  System_Instance_Info_List infos;
  if (!list(infos)) return false;

  const auto found = std::find_if(infos.begin(), infos.end(), [&](const System_Instance_Info& candidate) {
    return candidate.instance_name == name && candidate.system_info.sid == sid;
  });
  if (found == infos.end()) return false;
  info = *found;
  return true;
}

}  // namespace sap_hana
