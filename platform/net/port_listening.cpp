#include "platform/net/port_listening.h"

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <boost/algorithm/string/predicate.hpp>
#include <cerrno>
#include <locale>
#include <optional>
#include <sstream>
#include <string>

#include "platform/files/file_content.h"
#include "platform/files/unique_fd.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/text/format.h"

namespace platform {
namespace {

constexpr std::size_t TABLE_LIMIT = std::size_t{256} << 20;  // bytes; some 150 for each socket

bool ask(int socket, std::uint8_t family, std::uint16_t port) {
  struct {
    nlmsghdr header;
    inet_diag_req_v2 question;
  } message{};
  message.header.nlmsg_len = sizeof(message);
  message.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  message.question.sdiag_family = family;
  message.question.sdiag_protocol = IPPROTO_TCP;
  message.question.idiag_states = 1U << TCP_LISTEN;
  message.question.id.idiag_sport = htons(port);

  sockaddr_nl kernel{};
  kernel.nl_family = AF_NETLINK;
  return ::sendto(socket, &message, sizeof(message), 0, reinterpret_cast<sockaddr*>(&kernel), sizeof(kernel)) ==
         static_cast<ssize_t>(sizeof(message));
}

// Reads a whole answer. Nothing if the kernel refused the question or did not answer it.
std::optional<bool> answer(int socket, std::uint16_t port) {
  bool found = false;
  alignas(nlmsghdr) std::array<char, 8192> buffer;
  for (;;) {
    const ssize_t received = ::recv(socket, buffer.data(), buffer.size(), 0);
    if (received < 0 && errno == EINTR) continue;
    if (received <= 0) return std::nullopt;

    auto left = static_cast<unsigned>(received);
    for (auto* header = reinterpret_cast<nlmsghdr*>(buffer.data()); NLMSG_OK(header, left);
         header = NLMSG_NEXT(header, left)) {
      if (header->nlmsg_type == NLMSG_DONE) {
        const int error = *static_cast<const int*>(NLMSG_DATA(header));
        if (error < 0) return std::nullopt;
        return found;
      }
      if (header->nlmsg_type != SOCK_DIAG_BY_FAMILY) return std::nullopt;
      const auto* entry = static_cast<const inet_diag_msg*>(NLMSG_DATA(header));
      found = found || ntohs(entry->id.idiag_sport) == port;
    }
  }
}

std::optional<bool> listening_by_diagnosis(std::uint16_t port) {
  const Unique_Fd socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
  if (!socket) return std::nullopt;
  const timeval patience{2, 0};
  if (::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience)) != 0) return std::nullopt;

  for (const std::uint8_t family : {std::uint8_t{AF_INET}, std::uint8_t{AF_INET6}}) {
    if (!ask(socket.get(), family, port)) return std::nullopt;
    const std::optional<bool> listening = answer(socket.get(), port);
    if (!listening.has_value() || *listening) return listening;
  }
  return false;
}

// True if an address of the kernel's, "0100007F:1F90", is one of that port.
bool ends_with_port(const std::string& address, std::uint16_t port) {
  const snprintf_t<8> suffix(":%04X", port);
  return boost::ends_with(address, suffix.c_str());
}

// Reads one of the kernel's tables: "sl local_address:port remote_address:port state ...", numbers in hexadecimal.
std::optional<bool> listening_by_table(const char* path, std::uint16_t port) {
  std::string content;
  if (read_regular_file(path, content, TABLE_LIMIT) != File_Read::DONE) return std::nullopt;

  std::istringstream table(content);
  table.exceptions(std::ios::badbit);  // where memory runs out
  std::string line;
  while (std::getline(table, line)) {
    std::istringstream row(line);
    row.exceptions(std::ios::badbit);
    row.imbue(std::locale::classic());
    std::string slot, local, remote;
    unsigned state = 0;
    row >> slot >> local >> remote >> std::hex >> state;
    if (state == TCP_LISTEN && ends_with_port(local, port)) return true;
  }
  return false;
}

}  // namespace

std::optional<bool> look_for_listener(std::uint16_t port) try {
  if (const std::optional<bool> listening = listening_by_diagnosis(port)) return listening;

  const std::optional<bool> ipv4 = listening_by_table("/proc/net/tcp", port);
  std::optional<bool> ipv6 = listening_by_table("/proc/net/tcp6", port);
  if (!ipv6 && errno == ENOENT && ipv4) ipv6 = false;  // the host has no IPv6
  if (ipv4.value_or(false) || ipv6.value_or(false)) return true;

  if (ipv4 && ipv6) return false;
  log_debug("Failed to read the listening sockets: %m\n");
  return std::nullopt;
} catch (...) {
  failed();
  return std::nullopt;
}

bool check_port_listening(std::uint16_t port) {
  return look_for_listener(port).value_or(false);
}

}  // namespace platform
