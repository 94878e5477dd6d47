#include <hana/common/list_databases.h>
#include <hana/common/list_schema.h>

#include <iostream>

#include "configure_instance.h"

int main() {
  sap_hana::System_Instance_Info_List instances;
  if (!sap_hana::System_Instance_Lister().list(instances)) return 1;
  for (const sap_hana::System_Instance_Info& instance : instances)
    configure_instance(instance);

  platform::secure_string password;
  for (char c; std::cin.get(c) && c != '\n';)
    password.push_back(c);

  sap_hana::Database_Info_List databases;
  if (!sap_hana::Database_Lister("HXE", "HDB90", "SYSTEM", password).list(databases, "")) return 1;
  sap_hana::Schema_Lister lister("HXE", "HDB90", "SYSTEM", password);
  for (const sap_hana::Database_Info& database : databases) {
    std::cout << database.name << (database.active ? ":" : " is stopped");
    sap_hana::Database_Scheme_Base_Info_List schemas;
    if (database.active && !lister.list_schema(database.name, schemas)) return 1;
    for (const sap_hana::Database_Scheme_Base_Info& schema : schemas)
      std::cout << ' ' << schema.name << (schema.has_privileges ? "" : " (no privileges)");
    std::cout << '\n';
  }
}
