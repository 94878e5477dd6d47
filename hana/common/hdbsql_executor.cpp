#include "hana/common/hdbsql_executor.h"

#include <cstring>
#include <utility>

#include "hana/common/server_port_manager.h"
#include "hana/common/utils.h"
#include "platform/instances/instance_manager.h"
#include "platform/log/failed.h"
#include "platform/process/process_ex.h"
#include "platform/process/process_options.h"

namespace sap_hana {
namespace {

// False if an option is missing or of another form.
bool read_options(const platform::Instance& instance, System_Instance_Info& info) {
  std::uint64_t number = 0;
  if (!instance.get_option("sid", info.system_info.sid) || !instance.get_option("instance_number", number) ||
      !instance.get_option("instance_name", info.instance_name) ||
      !instance.get_option("localhost", info.system_info.localhost) ||
      !instance.get_option("dir_executable", info.dir_executable) ||
      !instance.get_option("multi_container", info.system_info.multi_container)) {
    return false;
  }
  info.instance_number = static_cast<std::uint16_t>(number);
  return true;
}

template <class Text>
bool has_nul(const Text& text) {
  return std::strlen(text.c_str()) != text.size();
}

}  // namespace

HDBSQL_Executor::HDBSQL_Executor(const std::string& tool)
    : initialize_(false), multi_container_(false), port_(0), instance_number_(0), tool_(platform::kept_name(tool)) {}

bool HDBSQL_Executor::init(const std::string& sid, const std::string& instance_name, const std::string& database,
                           const std::string& username, const platform::secure_string& password) try {
  if (sid.empty() || instance_name.empty() || username.empty() || password.empty()) {
    platform::log_error("Failed to initialize hdbsql executor: Lack of necessary information\n");
    return false;
  }
  return init(generate_instance_manager_name(sid, instance_name), database, username, password);
} catch (...) {
  return platform::failed();
}

bool HDBSQL_Executor::init(const std::string& instance_manager_name, const std::string& database,
                           const std::string& username, const platform::secure_string& password) try {
  if (instance_manager_name.empty() || username.empty() || password.empty()) {
    platform::log_error("Failed to initialize hdbsql executor: Lack of necessary information\n");
    return false;
  }

  // Deliberate: an unknown instance is left to the caller to report.
  const auto instance = platform::Instance_Manager::instance()->find("hana", instance_manager_name.c_str());
  if (!instance) return false;

  Database_Info info{};
  info.name = database;
  if (!read_options(*instance, info.instance_info)) {
    platform::log_error("Failed to initialize hdbsql execute '%s': failed to get instance info\n",
                        instance_manager_name.c_str());
    return false;
  }
  return init(info, username, password);
} catch (...) {
  return platform::failed();
}

bool HDBSQL_Executor::init(const Database_Info& info, const std::string& username,
                           const platform::secure_string& password) try {
  if (username.empty() || password.empty()) {
    platform::log_error("Failed to init HDBSQL executor: username or password empty\n");
    return false;
  }

  // Made aside, so that nothing is changed where memory runs out.
  HDBSQL_Executor next(*this);
  const System_Instance_Info& instance = info.instance_info;
  next.host_ = instance.system_info.localhost;
  next.sid_ = instance.system_info.sid;
  next.database_ = info.name;
  next.instance_number_ = instance.instance_number;
  next.username_ = username;
  next.password_ = password;
  next.multi_container_ = instance.system_info.multi_container;
  next.port_ = Server_Port_Manager(next.instance_number_)
                   .get_port(next.multi_container_ ? Server_Port_Manager::TYPE_MDC_INDEXSERVER
                                                   : Server_Port_Manager::TYPE_INDEXSERVER);
  next.dir_executable_ = instance.dir_executable;
  // Deliberate: a later init() moves the library path, but not hdbsql.
  if (next.tool_.empty()) next.tool_ = instance.dir_executable + "/hdbsql";
  next.initialize_ = true;
  *this = std::move(next);
  return true;
} catch (...) {
  return platform::failed();
}

bool HDBSQL_Executor::is_initialized() {
  if (!initialize_) platform::log_error("HDBSQL executor need initialize first.\n");
  return initialize_;
}

bool HDBSQL_Executor::execute(const std::string& sql, platform::ACE_Log_Msg_Callback_var log_msg_callback) try {
  if (!is_initialized()) {
    platform::log_error("Failed to execute sql '%s'\n", sql.c_str());
    return false;
  }
  platform::Text_Process_Handler nowhere(0);
  return execute(sql, &nowhere, std::move(log_msg_callback));
} catch (...) {
  return platform::failed();
}

bool HDBSQL_Executor::execute(const std::string& sql, platform::Text_Process_Handler* handler,
                              platform::ACE_Log_Msg_Callback_var log_msg_callback) try {
  if (handler == nullptr) {
    platform::log_precondition("Unexpected error in %N:%l, handler is NULL:\n%?\n");
    return false;
  }
  if (!is_initialized()) {
    platform::log_error("Failed to execute sql '%s'\n", sql.c_str());
    return false;
  }
  if (sql.empty()) {
    platform::log_error("Failed to execute sql: sql is empty\n");
    return false;
  }
  if (has_nul(sql) || has_nul(tool_) || has_nul(username_) || has_nul(password_) || has_nul(database_) ||
      has_nul(host_)) {
    // An argument ends at its first NUL: the beginning of the statement would be run, or another user's or database's.
    platform::log_error("Failed to execute '%s'\n", sql.c_str());
    return false;
  }

  const std::string database_option = database_.empty() ? "" : "-d " + database_;
  platform::Process_Options options;
  options.handle_inheritance(0);
  options.setenv("LD_LIBRARY_PATH", "%s", dir_executable_.c_str());
  options.command_line("%s -u \"%s\" -p \"%s\" -i %d %s -n \"%s:%d\" \"%s\"", tool_.c_str(), username_.c_str(),
                       password_.c_str(), instance_number_, database_option.c_str(), host_.c_str(), port_, sql.c_str());

  platform::ACE_Process_Ex process(platform::ACE_Process_Ex::REDIRECT_STDOUT_STDERR, nullptr,
                                   std::move(log_msg_callback));
  if (handler->call(&process, options) != 0) {
    platform::log_error("Failed to execute '%s'\n", sql.c_str());
    return false;
  }
  return true;
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
