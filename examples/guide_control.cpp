#include <hana/common/instance_control.h>
#include <hana/common/server_port_manager.h>

#include <iostream>

namespace {

void show(const sap_hana::Instance_Controller& controller) {
  auto state = sap_hana::Instance_Controller::INSTANCE_STATE_UNKNOWN;
  controller.get_state("HDB90", state);
  const sap_hana::Server_Port_Manager ports("HDB90");
  std::cout << (state == sap_hana::Instance_Controller::INSTANCE_STATE_RUNNING ? "running" : "stopped")
            << ", the name server's port " << ports.get_port(sap_hana::Server_Port_Manager::TYPE_NAMESERVER) << " is "
            << (ports.is_listening(sap_hana::Server_Port_Manager::TYPE_NAMESERVER) ? "open\n" : "closed\n");
}

}  // namespace

int main() {
  const sap_hana::Instance_Controller controller("HXE");
  show(controller);
  if (!controller.stop("HDB90")) return 1;
  show(controller);
  if (!controller.start("HDB90")) return 1;
  show(controller);
}
