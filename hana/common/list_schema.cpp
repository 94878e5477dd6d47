#include "hana/common/list_schema.h"

#include <boost/regex.hpp>

#include <utility>

#include "hana/common/detail/quoted_row.h"
#include "hana/common/hdbsql_executor.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/process/text_process_handler.h"

namespace sap_hana {
namespace {

const boost::regex LIST_SCHEMA_PARSE_RE("\\s*\"(.*)\",\"(.*)\",\"(.*)\"\\s*");

// Appends a schema for every row of name, owner and privilege; other lines are skipped.
class List_Schema_Line_Handler : public platform::Text_Process_Handler {
 public:
  explicit List_Schema_Line_Handler(Database_Scheme_Base_Info_List& infos) : Text_Process_Handler(0), infos_(infos) {}

 protected:
  int handle_stdout_line(const char* line, std::size_t len) override {
    boost::cmatch match;
    if (line == nullptr || !find_quoted_row(line, len, LIST_SCHEMA_PARSE_RE, match)) return 0;

    Database_Scheme_Base_Info info{};
    info.name.assign(match[1].first, match[1].second);
    info.owner.assign(match[2].first, match[2].second);
    info.has_privileges = *match[3].first == 'T';  // the closing quote, if the field is empty
    infos_.push_back(std::move(info));
    return 0;
  }

 private:
  Database_Scheme_Base_Info_List& infos_;
};

}  // namespace

Schema_Lister::Schema_Lister(const std::string& sid, const std::string& instance_name, const std::string& user,
                             const platform::secure_string& password)
    : sid_(platform::kept(sid)),
      instance_name_(platform::kept(instance_name)),
      user_(platform::kept(user)),
      password_(platform::kept(password)) {}

bool Schema_Lister::list_schema(const std::string& database, Database_Scheme_Base_Info_List& infos) try {
  HDBSQL_Executor executor("");
  List_Schema_Line_Handler handler(infos);
  if (!executor.init(sid_, instance_name_, database, user_, password_) ||
      !executor.execute("SELECT SCHEMA_NAME, SCHEMA_OWNER, HAS_PRIVILEGES FROM SCHEMAS", &handler,
                        platform::ACE_Log_Msg_Callback_var())) {
    // Deliberate: the message names the instance, not the database.
    platform::log_error("Failed to list %s schema\n", instance_name_.c_str());
    return false;
  }
  return true;
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
