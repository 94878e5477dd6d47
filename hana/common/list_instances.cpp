#include "hana/common/list_instances.h"

#include <algorithm>
#include <boost/regex.hpp>
#include <map>
#include <utility>

#include "hana/common/detail/start_services.h"
#include "hana/common/detail/version_line.h"
#include "hana/common/utils.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/process/process_ex.h"
#include "platform/process/process_search.h"
#include "platform/process/text_process_handler.h"
#include "platform/text/search.h"

namespace sap_hana {
namespace {

// Takes the version from the output of "hdbsrvutil -v": the last line that has one.
class Get_Version_Line_Handler : public platform::Text_Process_Handler {
 public:
  explicit Get_Version_Line_Handler(std::string& version) : Text_Process_Handler(0), version_(version) {}

  int handle_stdout_line(const char* line, std::size_t len) override {
    boost::cmatch match;
    if (line != nullptr && platform::search(line, line + len, match, GET_VERSION_RE)) version_ = match[1];
    return 0;
  }

 private:
  std::string& version_;
};

// Runs "hdbsrvutil -v" of the service's directory, as the service's user. False, with a message, if it cannot be run or
// fails; it is not run for a service that is not believed, which may name any directory.
bool get_version(const Start_Service& service, std::string& version) {
  const std::string& dir_executable = service.environment.dir_executable;
  if (dir_executable.empty()) {
    platform::log_error("Failed to get HANA version: executable dir is empty\n");
    return false;
  }
  if (!service.is_believed()) {
    platform::log_error("Failed to get HANA version\n");
    return false;
  }

  platform::Process_Options options;
  run_as_owner(service, service.environment.sid, options);
  options.setenv("LD_LIBRARY_PATH", "%s", dir_executable.c_str());
  options.command_line("%s/hdbsrvutil -v", dir_executable.c_str());

  Get_Version_Line_Handler handler(version);
  if (handler.call(platform::ACE_Process_Ex::REDIRECT_STDOUT_STDERR, options) != 0) {
    platform::log_error("Failed to get HANA version\n");
    return false;
  }
  return true;
}

System_Instance_Info make_info(const Start_Service& service, const std::string& name) {
  System_Instance_Info info{};
  info.system_info.sid = service.environment.sid;
  info.instance_number = service.environment.instance_number;
  info.system_info.localhost = service.environment.hostname;
  info.dir_executable = service.environment.dir_executable;
  info.instance_name = name;
  get_version(service, info.system_info.version);  // it has said why it has none
  return info;
}

// Collects a record for each system and instance. The first start service of one tells of it, but one that is believed
// takes the place of one that is not.
class Collector {
 public:
  explicit Collector(System_Instance_Info_List& infos) : infos_(infos) {}

  void take(const Start_Service& service) {
    const HANA_Env_Value& environment = service.environment;
    std::string name;
    if (environment.sid.empty() || environment.hostname.empty()) return;
    if (!instance_number_to_name(environment.instance_number, name)) return;

    const auto [entry, is_new] = listed_.try_emplace(generate_instance_manager_name(environment.sid, name));
    Listed& listed = entry->second;
    if (!is_new && (listed.believed || !service.is_believed())) return;
    listed.believed = service.is_believed();
    System_Instance_Info info = make_info(service, name);
    if (is_new) {
      listed.info = infos_.insert(infos_.end(), std::move(info));
    } else {
      *listed.info = std::move(info);
    }
  }

 private:
  struct Listed {
    System_Instance_Info_List::iterator info;
    bool believed;
  };

  System_Instance_Info_List& infos_;
  std::map<std::string, Listed> listed_;
};

}  // namespace

System_Instance_Lister::System_Instance_Lister() = default;
System_Instance_Lister::~System_Instance_Lister() = default;

bool System_Instance_Lister::list_service(std::list<platform::Service_Info>& services) const {
  if (!platform::find_processes("HDB[0-9][0-9]/exe/sapstartsrv", services)) {
    platform::log_error("Failed to get HANA services\n");
    return false;
  }
  return !services.empty();
}

bool System_Instance_Lister::list(System_Instance_Info_List& infos) const try {
  std::list<platform::Service_Info> services;
  if (!list_service(services)) return false;

  Collector collector(infos);
  for (const platform::Service_Info& process : services) {
    Start_Service service;
    if (read_start_service(process.pid, nullptr, service)) collector.take(service);
  }
  return true;
} catch (...) {
  return platform::failed();
}

bool System_Instance_Lister::list(System_Instance_Info& info, const std::string& sid, const std::string& name) const
    try {
  System_Instance_Info_List infos;
  if (!list(infos)) return false;

  const auto found = std::find_if(infos.begin(), infos.end(), [&](const System_Instance_Info& candidate) {
    return candidate.instance_name == name && candidate.system_info.sid == sid;
  });
  if (found == infos.end()) return false;
  info = *found;
  return true;
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
