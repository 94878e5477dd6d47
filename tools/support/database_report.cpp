#include "tools/support/database_report.h"

#include <list>
#include <map>

#include "examples/configure_instance.h"
#include "examples/log_reasons.h"
#include "hana/common/hdbsql_executor.h"
#include "hana/common/hdbsql_general_text_handler.h"
#include "hana/common/list_databases.h"
#include "hana/common/list_schema.h"
#include "platform/text/printable.h"
#include "tools/support/terminal.h"

namespace tools {
namespace {

using platform::printable;

// Values of global.ini by key; those of the SYSTEM layer, read last, hide the defaults.
bool read_settings(const sap_hana::System_Instance_Info& instance, const std::string& user,
                   const platform::secure_string& password, std::map<std::string, std::string>& settings) {
  sap_hana::Database_Info database{};
  database.instance_info = instance;
  sap_hana::HDBSQL_Executor executor("");
  sap_hana::HDBSQL_General_Text_Handler rows;
  const Log_Reasons reasons;
  const bool read =
      executor.init(database, user, password) &&
      executor.execute(
          "select KEY,VALUE from M_INIFILE_CONTENTS where FILE_NAME = 'global.ini' and LAYER_NAME in "
          "('DEFAULT','SYSTEM') and KEY in ('log_mode','enable_auto_log_backup','log_backup_using_backint',"
          "'catalog_backup_using_backint') order by LAYER_NAME",
          &rows, nullptr);
  if (!read) {
    print_field("SQL", "not possible as " + printable(user) + ": " + or_unknown(reasons.first()));
    return false;
  }
  for (const auto& row : rows.get_values()) {
    if (row.size() == 2) settings[row[0]] = row[1];
  }
  return true;
}

void print_settings(std::map<std::string, std::string>& settings) {
  print_field("log mode", or_unknown(settings["log_mode"]));
  print_field("log backup", "automatic: " + yes_or_no(settings["enable_auto_log_backup"]) +
                                ", through Backint: " + yes_or_no(settings["log_backup_using_backint"]));
  print_field("catalog", "through Backint: " + yes_or_no(settings["catalog_backup_using_backint"]));
}

void print_schemas(sap_hana::Schema_Lister& lister, const std::string& database) {
  sap_hana::Database_Scheme_Base_Info_List schemas;
  const Log_Reasons unused;  // a tenant need not know the user
  if (!lister.list_schema(database, schemas)) {
    print_field("", styled(DIM, "schemas cannot be read"));
    return;
  }
  std::list<std::string> names;
  for (const auto& schema : schemas)
    names.push_back(printable(schema.name) + (schema.has_privileges ? "" : styled(DIM, " (no privileges)")));
  print_list("", count(schemas.size(), "schema"), names);
}

// The state comes first: it is as wide for every database, whatever the name.
void print_database(const sap_hana::Database_Info& database, const char* field) {
  const std::string state = database.active ? styled(GREEN, "started") : styled(RED, "stopped");
  const std::string description = database.description.empty() ? "" : " (" + printable(database.description) + ")";
  print_field(field, state + "  " + printable(database.name) + description);
}

}  // namespace

void print_databases(const sap_hana::System_Instance_Info& instance, const std::string& user,
                     const platform::secure_string& password) {
  // Asked first and once: many a wrong password locks a user out.
  std::map<std::string, std::string> settings;
  if (!read_settings(instance, user, password, settings)) return;
  print_settings(settings);

  const std::string& sid = instance.system_info.sid;
  configure_instance(instance);
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

}  // namespace tools
