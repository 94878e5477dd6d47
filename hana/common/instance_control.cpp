#include "hana/common/instance_control.h"

#include "hana/common/detail/multi_container.h"
#include "hana/common/detail/start_services.h"
#include "hana/common/environ_getter.h"
#include "hana/common/server_port_manager.h"
#include "hana/common/utils.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/net/port_listening.h"
#include "platform/process/process_options.h"
#include "platform/process/process_search.h"
#include "platform/process/subprocess.h"
#include "platform/text/format.h"

namespace sap_hana {
namespace {

constexpr int SCRIPT_TIMEOUT = 86400;  // seconds; how long the script waits for the servers

// Null for what is no action.
const char* action_word(Instance_Controller::HDB_ACTION action) {
  switch (action) {
    case Instance_Controller::HDB_ACTION_START:
      return "start";
    case Instance_Controller::HDB_ACTION_STOP:
      return "stop";
    case Instance_Controller::HDB_ACTION_RESTART:
      return "restart";
    case Instance_Controller::HDB_ACTION_UNKNOWN:
      break;
  }
  return nullptr;
}

// The directory of the first of the services that is believed to be the system's. Empty if there is none, or if its
// environment has none.
std::string believed_dir(const std::string& sid, const std::list<platform::Service_Info>& services) {
  for (const platform::Service_Info& process : services) {
    Start_Service service;
    if (read_start_service(process.pid, &sid, service) && service.is_believed())
      return service.environment.instance_dir;
  }
  return "";
}

// Whether a listing tells the names of the users that run the services, too.
enum class Users { NAMED, UNNAMED };

// Appends the instance's start services. False, after a message, if they cannot be listed; also false if the list is
// empty then.
bool list_services(const std::string& sid, const std::string& instance_name, Users users,
                   std::list<platform::Service_Info>& services) {
  const platform::snprintf_t<4096> pattern("%s/%s/exe/sapstartsrv", sid.c_str(), instance_name.c_str());
  const bool listed = users == Users::NAMED
                          ? platform::Service_Lister().list_service(pattern.c_str(), services, false, "C") == 0
                          : platform::find_processes(pattern.c_str(), services);
  if (!listed) platform::log_error("Failed to get %s %s service info\n", sid.c_str(), instance_name.c_str());
  return listed && !services.empty();
}

// The same by number; false, after a message, also if it is above 99.
bool list_services(const std::string& sid, std::uint16_t instance_number, Users users,
                   std::list<platform::Service_Info>& services) {
  std::string instance_name;
  if (instance_number_to_name(instance_number, instance_name))
    return list_services(sid, instance_name, users, services);
  platform::log_error("Failed to get %s %hu service info: failed to generate instance name\n", sid.c_str(),
                      instance_number);
  return false;
}

}  // namespace

Instance_Controller::Instance_Controller(const std::string& sid) : sid_(platform::kept_name(sid)) {}

bool Instance_Controller::start(const std::string& instance_name) const {
  return hdb_action(instance_name, HDB_ACTION_START);
}

bool Instance_Controller::stop(const std::string& instance_name) const {
  return hdb_action(instance_name, HDB_ACTION_STOP);
}

bool Instance_Controller::restart(const std::string& instance_name) const {
  return hdb_action(instance_name, HDB_ACTION_RESTART);
}

bool Instance_Controller::get_state(std::uint16_t instance_number, Instance_State& state) const try {
  state = INSTANCE_STATE_UNKNOWN;
  const std::optional<bool> multi_container = look_for_containers(sid_);

  std::list<platform::Service_Info> services;
  if (!list_services(sid_, instance_number, Users::UNNAMED, services)) {
    state = INSTANCE_STATE_STOPPED;
    return false;
  }
  const auto server = multi_container.value_or(false) ? Server_Port_Manager::TYPE_MDC_INDEXSERVER
                                                      : Server_Port_Manager::TYPE_INDEXSERVER;
  const std::optional<bool> listening =
      platform::look_for_listener(Server_Port_Manager(instance_number).get_port(server));
  state = listening.value_or(false) ? INSTANCE_STATE_RUNNING : INSTANCE_STATE_STOPPED;
  if (!multi_container || !listening) {
    state = INSTANCE_STATE_STOPPED;
    platform::log_error("Failed to get %s %hu instance state\n", sid_.c_str(), instance_number);
    return false;
  }
  return true;
} catch (...) {
  return platform::failed();
}

bool Instance_Controller::get_state(const std::string& instance_name, Instance_State& state) const try {
  std::uint16_t instance_number = 0;
  return instance_name_to_number(instance_name, instance_number) && get_state(instance_number, state);
} catch (...) {
  return platform::failed();
}

bool Instance_Controller::get_instance_dir(const std::string& instance_name, std::string& dir, bool use_default) const
    try {
  dir.clear();
  std::list<platform::Service_Info> services;
  if (!list_services(sid_, instance_name, Users::UNNAMED, services)) {
    platform::log_error("Failed to get %s %s instance env\n", sid_.c_str(), instance_name.c_str());
    return false;
  }

  HANA_Env_Value environment{};
  if (Environ_Getter::instance()->get(services.front().pid, environment)) {
    dir = environment.instance_dir;
  } else if (!use_default) {
    platform::log_error("Failed to get %s %s instance dir\n", sid_.c_str(), instance_name.c_str());
    return false;
  }
  if (dir.empty() && use_default) get_default_instance_dir(instance_name, dir);
  return !dir.empty();
} catch (...) {
  return platform::failed();
}

void Instance_Controller::get_default_instance_dir(const std::string& instance_name, std::string& dir) const {
  platform::string_sprintf(dir, "/usr/sap/%s/%s", sid_.c_str(), instance_name.c_str());
}

bool Instance_Controller::get_instance_services(const std::string& instance_name,
                                                std::list<platform::Service_Info>& service_info) const try {
  return list_services(sid_, instance_name, Users::NAMED, service_info);
} catch (...) {
  return platform::failed();
}

bool Instance_Controller::get_instance_services(std::uint16_t instance_number,
                                                std::list<platform::Service_Info>& service_info) const try {
  return list_services(sid_, instance_number, Users::NAMED, service_info);
} catch (...) {
  return platform::failed();
}

bool Instance_Controller::hdb_action(const std::string& instance_name, HDB_ACTION action) const try {
  // Deliberate: without a directory there is no "/HDB" to run, and the run below reports that.
  std::string instance_dir;
  std::list<platform::Service_Info> services;
  if (list_services(sid_, instance_name, Users::UNNAMED, services)) {
    instance_dir = believed_dir(sid_, services);
    if (instance_dir.empty()) get_default_instance_dir(instance_name, instance_dir);
  } else {
    platform::log_error("Failed to get %s %s instance env\n", sid_.c_str(), instance_name.c_str());
  }

  const char* const word = action_word(action);
  if (word == nullptr) {
    platform::log_error("Unknown type of HDB action\n");
    return false;
  }

  platform::Process_Options options;
  options.setreugid(administrator_of(sid_).c_str());
  options.setenv("LD_LIBRARY_PATH", "%s/exe", instance_dir.c_str());
  options.setenv("HDB_START_TIMEOUT", "%d", SCRIPT_TIMEOUT);
  options.setenv("HDB_STOP_TIMEOUT", "%d", SCRIPT_TIMEOUT);
  options.command_line("%s/HDB %s", instance_dir.c_str(), word);
  if (platform::subprocess::call(options, platform::ACE_Log_Msg_Callback_var()) != 0) {
    platform::log_error("Failed to %s %s instance %s\n", word, sid_.c_str(), instance_name.c_str());
    return false;
  }
  return true;
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
