#include <hana/common/environ_getter.h>
#include <hana/common/host_info_getter.h>
#include <hana/common/instance_control.h>
#include <hana/common/list_instances.h>
#include <hana/common/system_control.h>

#include <iostream>

int main() {
  sap_hana::System_Instance_Info_List instances;
  if (!sap_hana::System_Instance_Lister().list(instances)) return 1;

  for (const sap_hana::System_Instance_Info& instance : instances) {
    const std::string& sid = instance.system_info.sid;
    std::cout << sid << ' ' << instance.instance_name << ' ' << instance.system_info.version << '\n';

    const bool tenants = sap_hana::System_Controller(sid).is_multi_container();
    std::cout << "  databases    " << (tenants ? "a system database and tenants\n" : "one\n");

    auto state = sap_hana::Instance_Controller::INSTANCE_STATE_UNKNOWN;
    sap_hana::Instance_Controller(sid).get_state(instance.instance_number, state);
    std::cout << "  SQL          "
              << (state == sap_hana::Instance_Controller::INSTANCE_STATE_RUNNING ? "served\n" : "not served\n");

    std::string host;
    if (sap_hana::Host_Info_Getter(sid).hostname(host)) std::cout << "  host name    " << host << '\n';

    std::string landscape_id;
    if (sap_hana::Environ_Getter::instance()->get_landscape_id(sid.c_str(), landscape_id))
      std::cout << "  landscape    " << landscape_id << '\n';

    std::list<std::string> traces;
    sap_hana::Environ_Getter::instance()->get_trace_dirs(sid, traces);
    for (const std::string& directory : traces)
      std::cout << "  traces       " << directory << '\n';
  }
}
