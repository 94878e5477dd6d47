#include "hana/common/server_port_manager.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "platform/files/unique_fd.h"
#include "tests/support/log_capture.h"

namespace {

using sap_hana::Server_Port_Manager;

// Listens on 127.0.0.1 or ::1 while it lives.
class Listener {
 public:
  Listener(int family, std::uint16_t port) : socket_(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const int on = 1;
    EXPECT_EQ(::setsockopt(socket_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)), 0);
    sockaddr_storage address{};
    socklen_t length = sizeof(sockaddr_in);
    if (family == AF_INET) {
      auto& ipv4 = reinterpret_cast<sockaddr_in&>(address);
      ipv4 = {AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
    } else {
      auto& ipv6 = reinterpret_cast<sockaddr_in6&>(address);
      ipv6 = {AF_INET6, htons(port), 0, in6addr_loopback, 0};
      length = sizeof(sockaddr_in6);
    }
    EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
    EXPECT_EQ(::listen(socket_.get(), 1), 0);
  }

 private:
  platform::Unique_Fd socket_;
};

TEST(ServerPortManager, ports_follow_from_the_instance_and_the_service) {
  const struct {
    std::uint16_t instance;
    Server_Port_Manager::Port_Type type;
    std::uint16_t port;
  } cases[] = {
      {0, Server_Port_Manager::TYPE_INDEXSERVER, 30015},
      {0, Server_Port_Manager::TYPE_MDC_INDEXSERVER, 30013},
      {0, Server_Port_Manager::TYPE_STATISTICSSERVER, 30017},
      {0, Server_Port_Manager::TYPE_DAEMON, 30000},
      {90, Server_Port_Manager::TYPE_NAMESERVER, 39001},
      {7, Server_Port_Manager::TYPE_PREPROCESSOR, 30702},
      {99, Server_Port_Manager::TYPE_COMPILESERVER, 39910},
      {0, Server_Port_Manager::TYPE_UNKNOWN, 0},
      {356, Server_Port_Manager::TYPE_DAEMON, 64},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Server_Port_Manager(c.instance).get_port(c.type), c.port) << c.instance << " " << c.type;
  }
}

TEST(ServerPortManager, a_name_gives_the_digits_after_its_third_character) {
  const struct {
    const char* name;
    std::uint16_t daemon_port;
  } cases[] = {
      {"HDB00", 30000}, {"HDB07", 30700}, {"HDB123", 42300}, {"ABC05", 30500}, {"HDB", 30000},      {"HD", 30000},
      {"", 30000},      {"HDB4x", 30400}, {"HDB-1", 30000},  {"HDB+5", 30500}, {"HDB70000", 29900},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Server_Port_Manager(std::string(c.name)).get_port(Server_Port_Manager::TYPE_DAEMON), c.daemon_port)
        << c.name;
  }
}

TEST(ServerPortManager, listening_is_seen_on_every_address_family_and_only_while_it_lasts) {
  test::Log_Capture log;
  const Server_Port_Manager ports(std::uint16_t{98});

  for (const int family : {AF_INET, AF_INET6}) {
    EXPECT_FALSE(ports.is_listening(Server_Port_Manager::TYPE_INDEXSERVER));
    const Listener listener(family, 39815);
    EXPECT_TRUE(ports.is_listening(Server_Port_Manager::TYPE_INDEXSERVER)) << family;
    EXPECT_FALSE(ports.is_listening(Server_Port_Manager::TYPE_MDC_INDEXSERVER)) << family;
  }
}

TEST(ServerPortManager, an_unknown_service_is_refused_with_a_message) {
  test::Log_Capture log;

  EXPECT_FALSE(Server_Port_Manager(std::uint16_t{0}).is_listening(Server_Port_Manager::TYPE_UNKNOWN));

  log.expect_error("Failed to check port listening: failed to get port\n");
}

}  // namespace
