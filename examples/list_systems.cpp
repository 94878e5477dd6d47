#include <hana/common/list_instances.h>
#include <hana/common/system_control.h>

#include <iostream>

int main() {
  sap_hana::System_Instance_Info_List instances;
  if (!sap_hana::System_Instance_Lister().list(instances) || instances.empty()) {
    std::cerr << "no SAP HANA instance can be seen on this host; is this root?\n";
    return 1;
  }
  for (const sap_hana::System_Instance_Info& instance : instances) {
    const sap_hana::System_Base_Info& system = instance.system_info;
    const bool tenants = sap_hana::System_Controller(system.sid).is_multi_container();
    std::cout << system.sid << ' ' << instance.instance_name << " on " << system.localhost << ", version "
              << system.version << (tenants ? ", multiple-container\n" : ", single-container\n");
  }
}
