#include <hana/common/hdbsql_executor.h>
#include <hana/common/hdbsql_general_text_handler.h>
#include <hana/common/list_instances.h>
#include <hana/common/system_control.h>

#include <iostream>

int main() {
  sap_hana::Database_Info database{};
  database.name = "SYSTEMDB";
  if (!sap_hana::System_Instance_Lister().list(database.instance_info, "HXE", "HDB90")) return 1;
  database.instance_info.system_info.multi_container = sap_hana::System_Controller("HXE").is_multi_container();

  platform::secure_string password;  // wipes what it held
  for (char c; std::cin.get(c) && c != '\n';)
    password.push_back(c);

  sap_hana::HDBSQL_Executor executor("");  // the instance's own hdbsql
  sap_hana::HDBSQL_General_Text_Handler result;
  if (!executor.init(database, "SYSTEM", password)) return 1;
  if (!executor.execute("select DATABASE_NAME, ACTIVE_STATUS from M_DATABASES", &result, nullptr)) return 1;

  const auto column = [&](const char* name) { return static_cast<std::size_t>(result.get_key().at(name)); };
  for (const std::vector<std::string>& row : result.get_values())
    std::cout << row[column("DATABASE_NAME")]
              << (row[column("ACTIVE_STATUS")] == "YES" ? " is started\n" : " is stopped\n");
}
