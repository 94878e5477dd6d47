#pragma once

#include <cstdint>
#include <optional>

#include "platform/export.h"

namespace platform {

// Whether some socket of this network namespace listens on the TCP port, IPv4 or IPv6, on whatever local address.
// Asks the kernel's socket diagnosis (inet_diag) for listening sockets of that port, so nothing is connected to and
// the cost does not grow with the number of connections; where that is refused, reads "/proc/net/tcp" and "tcp6".
// Nothing, with the cause at LM_DEBUG, where that cannot be told.
GUSTAIKRUM_EXPORT std::optional<bool> look_for_listener(std::uint16_t port);

// The same; false also where it cannot be told.
GUSTAIKRUM_EXPORT bool check_port_listening(std::uint16_t port);

}  // namespace platform
