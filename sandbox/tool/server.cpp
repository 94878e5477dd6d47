#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <system_error>

#include "platform/files/unique_fd.h"
#include "sandbox/paths.h"
#include "sandbox/tool/tool.h"
#include "sandbox/tool/user.h"

namespace sandbox {

namespace {

platform::Unique_Fd listen_on(std::uint16_t port) {
  platform::Unique_Fd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int on = 1;
  ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      ::listen(socket.get(), SOMAXCONN) != 0)
    throw std::system_error(errno, std::generic_category(), "port " + std::to_string(port));
  return socket;
}

}  // namespace

int run_server(const Arguments& arguments) {
  if (arguments.size() != 3 || arguments[1] != "-port") throw std::runtime_error("usage: -port NUMBER");
  const Place place = place_of(arguments[0]);
  become("", arguments[0]);
  const platform::Unique_Fd listener = listen_on(static_cast<std::uint16_t>(std::stoi(arguments[2])));
  if (!stay_behind(pid_file(place.sid, place.instance, place.program))) return 0;

  const std::string greeting = place.sid + "\n";
  for (;;) {
    const platform::Unique_Fd client(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (client) ::send(client.get(), greeting.data(), greeting.size(), MSG_NOSIGNAL);
  }
}

}  // namespace sandbox
