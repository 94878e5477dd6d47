#include <hana/common/hdbsql_executor.h>
#include <hana/common/hdbsql_general_text_handler.h>
#include <hana/common/system_config_manager.h>

#include <iostream>

#include "configure_instance.h"

int main() {
  sap_hana::System_Instance_Info instance;
  if (!sap_hana::System_Instance_Lister().list(instance, "HXE", "HDB90")) return 1;
  configure_instance(instance);
  platform::secure_string password;
  for (char c; std::cin.get(c) && c != '\n';)
    password.push_back(c);
  sap_hana::HDBSQL_Executor executor("");
  if (!executor.init("HXE", "HDB90", "SYSTEMDB", "SYSTEM", password)) return 1;

  sap_hana::System_Config_Manager settings(executor);
  if (!settings.alter_log_mode(sap_hana::System_Config_Manager::LOG_MODE_NORMAL) ||
      !settings.alter_auto_log_backup(true) || !settings.alter_log_backup_using_backint(true) ||
      !settings.alter_catalog_backup_using_backint(true))
    return 1;

  sap_hana::HDBSQL_General_Text_Handler rows;
  if (!executor.execute("select KEY, VALUE from M_INIFILE_CONTENTS where LAYER_NAME = 'SYSTEM' and SECTION in "
                        "('persistence', 'backup') and KEY like '%log%' and KEY not like 'base%' order by KEY",
                        &rows, nullptr))
    return 1;
  for (const std::vector<std::string>& row : rows.get_values())
    std::cout << row[0] << " = " << row[1] << '\n';
}
