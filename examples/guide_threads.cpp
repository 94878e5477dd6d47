#include <hana/common/instance_control.h>
#include <hana/common/list_instances.h>

#include <future>
#include <iostream>

namespace {

std::string state_of(const sap_hana::System_Instance_Info& instance) {
  auto state = sap_hana::Instance_Controller::INSTANCE_STATE_UNKNOWN;
  sap_hana::Instance_Controller(instance.system_info.sid).get_state(instance.instance_name, state);
  return state == sap_hana::Instance_Controller::INSTANCE_STATE_RUNNING ? " is running\n" : " is stopped\n";
}

}  // namespace

int main() {
  sap_hana::System_Instance_Info_List instances;
  if (!sap_hana::System_Instance_Lister().list(instances)) return 1;
  std::list<std::future<std::string>> states;
  for (const sap_hana::System_Instance_Info& instance : instances)
    states.push_back(std::async(std::launch::async, [&instance] { return state_of(instance); }));
  for (const sap_hana::System_Instance_Info& instance : instances) {
    std::cout << instance.system_info.sid << ' ' << instance.instance_name << states.front().get();
    states.pop_front();
  }
}
