#pragma once

#include <cstdint>
#include <string>

#include "platform/export.h"

namespace sap_hana {

// The TCP ports of one instance's servers, by HANA's fixed layout 3<instance number><service>: 30015 is the index
// server of instance 00, 39013 the system database of instance 90.
//
// A value: it may be copied, and threads may share one.
class GUSTAIKRUM_EXPORT Server_Port_Manager {
 public:
  // A server of an instance, by which its port is asked for.
  enum Port_Type {
    TYPE_UNKNOWN = 0,           // none; it has no port
    TYPE_INDEXSERVER = 1,       // 3<nn>15, SQL of a single-container system
    TYPE_MDC_INDEXSERVER = 2,   // 3<nn>13, SQL of the system database
    TYPE_STATISTICSSERVER = 3,  // 3<nn>17
    TYPE_DAEMON = 4,            // 3<nn>00
    TYPE_NAMESERVER = 5,        // 3<nn>01
    TYPE_PREPROCESSOR = 6,      // 3<nn>02
    TYPE_COMPILESERVER = 7      // 3<nn>10
  };

  // For an instance number, 0 to 99; it is not checked.
  Server_Port_Manager(std::uint16_t instance_number);

  // For an instance name, "HDB00" to "HDB99". What follows its third character is read as the number as far as it has
  // digits; the length and the first three characters are not checked, so "ABC05" is 5 and "HDB" is 0.
  Server_Port_Manager(const std::string& instance_name);

  // The port of a service, 30000 to 39917 for the instance numbers 0 to 99; beyond them it wraps at 65536.
  // 0 for TYPE_UNKNOWN and for any value outside the enumeration.
  std::uint16_t get_port(Port_Type type) const;

  // True if some socket of this host, on whatever address, listens on the service's port (as the kernel's socket
  // diagnosis tells; nothing is connected). False also where that cannot be found out, and, with a message, for an
  // unknown service.
  bool is_listening(Port_Type type) const;

 private:
  std::uint16_t generate_port(std::uint16_t number) const;

  std::uint16_t instance_number_;
};

}  // namespace sap_hana
