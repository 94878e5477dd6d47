#include "hana/common/tenant_database_control.h"

#include "hana/common/list_databases.h"
#include "platform/log/failed.h"

namespace sap_hana {
namespace {

constexpr std::size_t STATEMENT_LIMIT = 255;  // characters; deliberate: the rest is cut off

}  // namespace

Tenant_Database_Controller::Tenant_Database_Controller(const std::string& sid, const std::string& instance_name,
                                                       const std::string& user, const platform::secure_string& password)
    : executor_("") {
  // A failure shows when the executor is used.
  executor_.init(sid, instance_name, user, password);
}

Tenant_Database_Controller::Tenant_Database_Controller(HDBSQL_Executor& executor)
    : executor_(platform::kept(executor, HDBSQL_Executor(""))) {}

bool Tenant_Database_Controller::is_active(const std::string& name) try {
  Database_Info info{};
  return Database_Lister(executor_).list(info, name) && info.active;
} catch (...) {
  return platform::failed();
}

bool Tenant_Database_Controller::run(const char* action, const std::string& name) try {
  const std::string sql = std::string("ALTER SYSTEM ") + action + " DATABASE " + name;
  return executor_.execute(sql.substr(0, STATEMENT_LIMIT), platform::ACE_Log_Msg_Callback_var());
} catch (...) {
  return platform::failed();
}

bool Tenant_Database_Controller::start(const std::string& name) {
  return is_active(name) || run("START", name);
}

bool Tenant_Database_Controller::stop(const std::string& name) {
  return !is_active(name) || run("STOP", name);
}

}  // namespace sap_hana
