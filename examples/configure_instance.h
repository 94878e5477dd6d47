// Makes an instance that was listed known by its SID and name, as Database_Lister, Schema_Lister,
// Tenant_Database_Controller and HDBSQL_Executor::init() take them.
//
// A listing does not tell whether the system has tenants, so that is asked here: taken for a single container, its
// system database would be looked for at port 3<nn>15 instead of 3<nn>13.
#pragma once

#include <hana/common/list_instances.h>
#include <hana/common/system_control.h>
#include <hana/common/utils.h>
#include <platform/instances/instance_manager.h>

#include <string>

inline void configure_instance(const sap_hana::System_Instance_Info& info) {
  const std::string& sid = info.system_info.sid;
  platform::Instance instance;
  instance.set_option("sid", sid);
  instance.set_option("instance_number", info.instance_number);
  instance.set_option("instance_name", info.instance_name);
  instance.set_option("localhost", info.system_info.localhost);
  instance.set_option("dir_executable", info.dir_executable);
  instance.set_option("multi_container", sap_hana::System_Controller(sid).is_multi_container());
  platform::Instance_Manager::instance()->add("hana", sap_hana::generate_instance_manager_name(sid, info.instance_name),
                                              instance);
}
