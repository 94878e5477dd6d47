#include "examples/support/database_report.h"

#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Record.h>

#include <list>
#include <map>
#include <memory>

#include "examples/support/terminal.h"
#include "hana/common/hdbsql_executor.h"
#include "hana/common/hdbsql_general_text_handler.h"
#include "hana/common/list_databases.h"
#include "hana/common/list_schema.h"
#include "hana/common/utils.h"
#include "platform/instances/instance_manager.h"
#include "platform/text/format.h"

namespace example {
namespace {

// What hdbsql says on standard error; the library logs it where nobody asks.
class Activity : public ACE_Log_Msg_Callback {
 public:
  void log(ACE_Log_Record& record) override { text_ += record.msg_data(); }
  std::string first_line() const { return text_.substr(0, text_.find('\n')); }

 private:
  std::string text_;
};

// The listers find an instance by its configured name.
void configure(const sap_hana::System_Instance_Info& info) {
  platform::Instance instance;
  instance.set_option("sid", info.system_info.sid);
  instance.set_option("instance_number", info.instance_number);
  instance.set_option("instance_name", info.instance_name);
  instance.set_option("localhost", info.system_info.localhost);
  instance.set_option("dir_executable", info.dir_executable);
  instance.set_option("multi_container", info.system_info.multi_container);
  platform::Instance_Manager::instance()->add(
      "hana", sap_hana::generate_instance_manager_name(info.system_info.sid, info.instance_name), instance);
}

// Values of global.ini by key; those of the SYSTEM layer, read last, hide the defaults.
bool read_settings(const sap_hana::System_Instance_Info& instance, const std::string& user,
                   const platform::secure_string& password, std::map<std::string, std::string>& settings) {
  sap_hana::Database_Info database{};
  database.instance_info = instance;
  sap_hana::HDBSQL_Executor executor("");
  sap_hana::HDBSQL_General_Text_Handler rows;
  const auto activity = std::make_shared<Activity>();
  const bool read =
      executor.init(database, user, password) &&
      executor.execute(
          "select KEY,VALUE from M_INIFILE_CONTENTS where FILE_NAME = 'global.ini' and LAYER_NAME in "
          "('DEFAULT','SYSTEM') and KEY in ('log_mode','enable_auto_log_backup','log_backup_using_backint',"
          "'catalog_backup_using_backint') order by LAYER_NAME",
          &rows, activity);
  if (!read) {
    print_field("SQL", "not possible as " + printable(user) + ": " + or_unknown(activity->first_line()));
    return false;
  }
  for (const auto& row : rows.get_values()) {
    if (row.size() == 2) settings[row[0]] = row[1];
  }
  return true;
}

void print_settings(std::map<std::string, std::string>& settings) {
  print_field("log mode", or_unknown(settings["log_mode"]));
  print_field("log backup", "automatic: " + or_unknown(settings["enable_auto_log_backup"]) +
                                ", through Backint: " + or_unknown(settings["log_backup_using_backint"]));
  print_field("catalog", "through Backint: " + or_unknown(settings["catalog_backup_using_backint"]));
}

void print_schemas(sap_hana::Schema_Lister& lister, const std::string& database) {
  sap_hana::Database_Scheme_Base_Info_List schemas;
  const Quiet quiet;  // a tenant need not know the user
  if (!lister.list_schema(database, schemas)) {
    print_field("", styled(DIM, "schemas cannot be read"));
    return;
  }
  std::list<std::string> names;
  for (const auto& schema : schemas)
    names.push_back(printable(schema.name) + (schema.has_privileges ? "" : styled(DIM, " (no privileges)")));
  print_field("", count(schemas.size(), "schema") + (names.empty() ? "" : ": " + join(names)));
}

void print_database(const sap_hana::Database_Info& database, const char* field) {
  const platform::snprintf_t<64> name("%-12s ", printable(database.name).c_str());
  const std::string state = database.active ? styled(GREEN, "started") : styled(DIM, "stopped");
  const std::string description = database.description.empty() ? "" : "  " + printable(database.description);
  print_field(field, name.str() + state + description);
}

}  // namespace

void print_databases(const sap_hana::System_Instance_Info& instance, const std::string& user,
                     const platform::secure_string& password) {
  // Asked first and once: many a wrong password locks a user out.
  std::map<std::string, std::string> settings;
  {
    const Quiet quiet;  // the reason is printed instead
    if (!read_settings(instance, user, password, settings)) return;
  }
  print_settings(settings);

  const std::string& sid = instance.system_info.sid;
  configure(instance);
  sap_hana::Database_Info_List databases;
  if (!sap_hana::Database_Lister(sid, instance.instance_name, user, password).list(databases, "")) {
    print_field("databases", or_unknown(""));
    return;
  }
  sap_hana::Schema_Lister schemas(sid, instance.instance_name, user, password);
  const char* field = "databases";
  for (const sap_hana::Database_Info& database : databases) {
    print_database(database, field);
    // A single container has one database, which needs no name.
    if (database.active) print_schemas(schemas, instance.system_info.multi_container ? database.name : "");
    field = "";
  }
}

}  // namespace example
