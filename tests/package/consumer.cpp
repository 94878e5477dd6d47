#include <cstdio>

#include "hana/common/hdbsql_general_text_handler.h"
#include "hana/common/list_instances.h"
#include "hana/common/server_port_manager.h"

// A handler of the program's own takes what both libraries export: the classes, their tables and their type data.
class Handler : public sap_hana::HDBSQL_General_Text_Handler {};

int main() {
  sap_hana::System_Instance_Info_List instances;
  sap_hana::System_Instance_Lister().list(instances);
  const sap_hana::Server_Port_Manager ports(std::uint16_t{90});
  std::printf("%zu instances, port %d, %zu rows\n", instances.size(),
              ports.get_port(sap_hana::Server_Port_Manager::TYPE_MDC_INDEXSERVER), Handler().get_values().size());
  return 0;
}
