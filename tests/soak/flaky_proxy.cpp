#include "tests/soak/flaky_proxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <random>
#include <stdexcept>

namespace test {
namespace {

using platform::Unique_Fd;
using Random = std::mt19937_64;

sockaddr_in local_address(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

Unique_Fd connect_to(int port) {
  Unique_Fd connection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_in address = local_address(port);
  if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) return {};
  return connection;
}

// The bytes that one direction of a connection may carry: mostly any number.
std::size_t budget(Random& random) {
  const bool sound = random() % 5 != 0;
  return sound ? SIZE_MAX : random() % 800;
}

// False at the end of the stream, or when nothing more may pass.
bool pass(const Unique_Fd& from, const Unique_Fd& to, std::size_t& left) {
  std::array<char, 4096> bytes;
  const ssize_t got = ::recv(from.get(), bytes.data(), bytes.size(), 0);
  if (got <= 0) return false;
  const std::size_t passed = std::min(static_cast<std::size_t>(got), left);
  left -= passed;
  return ::send(to.get(), bytes.data(), passed, MSG_NOSIGNAL) == got;
}

void carry(const Unique_Fd& client, int server_port, Random random) {
  const Unique_Fd server = connect_to(server_port);
  std::size_t up = budget(random);
  std::size_t down = budget(random);
  pollfd ends[] = {{client.get(), POLLIN, 0}, {server.get(), POLLIN, 0}};
  for (bool open = static_cast<bool>(server); open;) {
    ::poll(ends, 2, -1);
    open = (ends[0].revents == 0 || pass(client, server, up)) && (ends[1].revents == 0 || pass(server, client, down));
  }
}

}  // namespace

Flaky_Proxy::Flaky_Proxy(int server_port, std::uint64_t seed)
    : server_port_(server_port), listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address = local_address(0);
  socklen_t size = sizeof(address);
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (::bind(listener_.get(), generic, size) != 0 || ::listen(listener_.get(), 64) != 0 ||
      ::getsockname(listener_.get(), generic, &size) != 0) {
    throw std::runtime_error("the proxy cannot be started");
  }
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this, seed] { accept_all(seed); });
}

Flaky_Proxy::~Flaky_Proxy() {
  ::shutdown(listener_.get(), SHUT_RDWR);
  thread_.join();
}

void Flaky_Proxy::accept_all(std::uint64_t seed) {
  Random random(seed);
  for (;;) {
    Unique_Fd client(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!client) return;
    // It ends by itself when the client or the server closes its end.
    std::thread([client = std::move(client), port = server_port_, seed_here = random()] {
      carry(client, port, Random(seed_here));
    }).detach();
  }
}

}  // namespace test
