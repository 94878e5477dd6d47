#include "hana/common/server_port_manager.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include "platform/files/unique_fd.h"
#include "sandbox/way.h"
#include "tests/support/failing_call.h"
#include "tests/support/test.h"

namespace {

using sap_hana::Server_Port_Manager;

TEST(ServerPortManager, ports_follow_from_the_instance_and_the_service) {
  test::Log_Capture log;
  const std::map<Server_Port_Manager::Port_Type, std::uint16_t> ports = {
      {Server_Port_Manager::TYPE_INDEXSERVER, 30715},      {Server_Port_Manager::TYPE_MDC_INDEXSERVER, 30713},
      {Server_Port_Manager::TYPE_STATISTICSSERVER, 30717}, {Server_Port_Manager::TYPE_DAEMON, 30700},
      {Server_Port_Manager::TYPE_NAMESERVER, 30701},       {Server_Port_Manager::TYPE_PREPROCESSOR, 30702},
      {Server_Port_Manager::TYPE_COMPILESERVER, 30710},    {Server_Port_Manager::TYPE_UNKNOWN, 0}};
  for (const auto& [type, port] : ports)
    EXPECT_EQ(Server_Port_Manager(7).get_port(type), port) << type;

  EXPECT_FALSE(Server_Port_Manager(7).is_listening(Server_Port_Manager::TYPE_UNKNOWN));
  log.expect_error("Failed to check port listening: failed to get port\n");
}

TEST(ServerPortManager, a_name_gives_the_digits_after_its_third_character) {
  const std::map<std::string, std::uint16_t> daemon_ports = {{"HDB07", 30700}, {"HDB123", 42300},  {"ABC05", 30500},
                                                             {"HDB", 30000},   {"HD", 30000},      {"HDB4x", 30400},
                                                             {"HDB-1", 30000}, {"HDB70000", 29900}};
  for (const auto& [name, port] : daemon_ports)
    EXPECT_EQ(Server_Port_Manager(name).get_port(Server_Port_Manager::TYPE_DAEMON), port) << name;
}

TEST(ServerPortManager, listening_is_seen_in_ipv6_too_and_only_while_it_lasts) {
  test::Log_Capture log;
  const Server_Port_Manager ports(98);
  const platform::Unique_Fd socket(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_in6 address{AF_INET6, htons(39815), 0, in6addr_loopback, 0};
  ASSERT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  EXPECT_FALSE(ports.is_listening(Server_Port_Manager::TYPE_INDEXSERVER));

  ASSERT_EQ(::listen(socket.get(), 1), 0);
  EXPECT_TRUE(ports.is_listening(Server_Port_Manager::TYPE_INDEXSERVER));
  EXPECT_FALSE(ports.is_listening(Server_Port_Manager::TYPE_MDC_INDEXSERVER));

  // The kernel refuses the question, or its answer.
  for (const auto& [call, family] : {std::pair(SYS_socket, std::uint32_t{AF_NETLINK}), {SYS_recvfrom, 0}}) {
    EXPECT_TRUE(test::in_own_process([&, call = call, family = family] {
      return test::let_call_fail(call, EPERM, call == SYS_socket ? 0 : test::ANY_ARGUMENT, family) &&
             ports.is_listening(Server_Port_Manager::TYPE_INDEXSERVER) &&
             !ports.is_listening(Server_Port_Manager::TYPE_MDC_INDEXSERVER);
    })) << call;
  }

  const auto without_ipv6 = [&] {
    std::ofstream("/proc/self/net/tcp") << "  sl\n   0: 0100007F:9B87 00000000:0000 0A\n";
    return ports.is_listening(Server_Port_Manager::TYPE_INDEXSERVER) &&
           !ports.is_listening(Server_Port_Manager::TYPE_MDC_INDEXSERVER) && log.take_debug().empty();
  };
  EXPECT_TRUE(sandbox::way_inside() != sandbox::Way::namespaces || test::in_own_process([&] {
                return test::in_own_mounts() && ::mount("tmpfs", "/proc/self/net", "tmpfs", 0, nullptr) == 0 &&
                       test::let_call_fail(SYS_socket, EPERM, 0, AF_NETLINK) && without_ipv6();
              }));

  ASSERT_EQ(::shutdown(socket.get(), SHUT_RD), 0);
  EXPECT_FALSE(ports.is_listening(Server_Port_Manager::TYPE_INDEXSERVER));
}

}  // namespace
