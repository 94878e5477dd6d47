#include "hana/common/list_databases.h"

#include <boost/regex.hpp>

#include <utility>

#include "hana/common/detail/multi_container.h"
#include "hana/common/detail/quoted_row.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/process/text_process_handler.h"

namespace sap_hana {
namespace {

const boost::regex LIST_DATABASES_PARSE_RE("\\s*\"(.*)\",\"(.*)\",\"(.*)\"");

// Appends a database for every row of name, description and state; other lines are skipped.
class List_Databases_Line_Handler : public platform::Text_Process_Handler {
 public:
  explicit List_Databases_Line_Handler(Database_Info_List& infos) : Text_Process_Handler(0), infos_(infos) {}

 protected:
  int handle_stdout_line(const char* line, std::size_t len) override {
    boost::cmatch match;
    if (line == nullptr || !find_quoted_row(line, len, LIST_DATABASES_PARSE_RE, match)) return 0;

    Database_Info& info = infos_.emplace_back();
    info.name.assign(match[1].first, match[1].second);
    info.description.assign(match[2].first, match[2].second);
    info.active = match[3] == "YES";
    return 0;
  }

 private:
  Database_Info_List& infos_;
};

}  // namespace

Database_Lister::Database_Lister(const std::string& sid, const std::string& instance_name, const std::string& username,
                                 const platform::secure_string& password)
    : sid_(platform::kept_name(sid)), executor_("") {
  // A failure shows when the executor is used.
  executor_.init(sid, instance_name, "", username, password);
}

Database_Lister::Database_Lister(HDBSQL_Executor& executor)
    : executor_(platform::kept(executor, HDBSQL_Executor(""))) {}

bool Database_Lister::list(Database_Info_List& infos, const std::string& name) try {
  std::string sql = "select DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS from M_DATABASES";
  if (!name.empty()) sql += " where DATABASE_NAME = '" + name + "'";

  List_Databases_Line_Handler handler(infos);
  if (!executor_.execute(sql, &handler, platform::ACE_Log_Msg_Callback_var())) {
    platform::log_error("Failed to list HANA database\n");
    return false;
  }
  if (!infos.empty()) return true;
  const std::optional<bool> multi_container = look_for_containers(sid_);
  if (!multi_container) platform::log_error("Failed to list HANA database\n");
  if (multi_container.value_or(true)) return multi_container.has_value();

  // Deliberate: named after the SID, whatever name was asked for.
  Database_Info info{};
  info.active = true;
  info.name = sid_;
  infos.push_back(std::move(info));
  return true;
} catch (...) {
  return platform::failed();
}

bool Database_Lister::list(Database_Info& info, const std::string& name) try {
  Database_Info_List infos;
  if (!list(infos, name) || infos.empty()) return false;
  info = std::move(infos.front());
  return true;
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
