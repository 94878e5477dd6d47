#include "hana/common/server_port_manager.h"

#include "platform/log/log.h"
#include "platform/net/port_listening.h"
#include "platform/text/natoi.h"

namespace sap_hana {

Server_Port_Manager::Server_Port_Manager(std::uint16_t instance_number) : instance_number_(instance_number) {}

Server_Port_Manager::Server_Port_Manager(const std::string& instance_name)
    : instance_number_(instance_name.size() < 3
                           ? std::uint16_t{0}
                           : platform::natoi<std::uint16_t>(instance_name.data() + 3,
                                                            instance_name.data() + instance_name.size())) {}

std::uint16_t Server_Port_Manager::generate_port(std::uint16_t number) const {
  return static_cast<std::uint16_t>(30000 + 100 * instance_number_ + number);
}

std::uint16_t Server_Port_Manager::get_port(Port_Type type) const {
  switch (type) {
    case TYPE_INDEXSERVER:
      return generate_port(15);
    case TYPE_MDC_INDEXSERVER:
      return generate_port(13);
    case TYPE_STATISTICSSERVER:
      return generate_port(17);
    case TYPE_DAEMON:
      return generate_port(0);
    case TYPE_NAMESERVER:
      return generate_port(1);
    case TYPE_PREPROCESSOR:
      return generate_port(2);
    case TYPE_COMPILESERVER:
      return generate_port(10);
    case TYPE_UNKNOWN:
      break;
  }
  return 0;
}

bool Server_Port_Manager::is_listening(Port_Type type) const {
  const std::uint16_t port = get_port(type);
  if (port == 0) {
    platform::log_error("Failed to check port listening: failed to get port\n");
    return false;
  }
  return platform::check_port_listening(port);
}

}  // namespace sap_hana
