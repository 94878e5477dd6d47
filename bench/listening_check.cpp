#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/cases.h"
#include "bench/measure.h"
#include "bench/program.h"
#include "platform/files/unique_fd.h"
#include "platform/net/port_listening.h"

namespace bench {
namespace {

using platform::Unique_Fd;

constexpr std::size_t CONNECTIONS = 20'000;
constexpr std::size_t HOLDERS = 4;  // one process alone may not hold so many descriptors

// A listening socket of this machine, and connections to it.
class Server {
 public:
  Server() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address_);
    auto* const address = reinterpret_cast<sockaddr*>(&address_);
    expect(::bind(listener_.get(), address, length) == 0 && ::listen(listener_.get(), 128) == 0 &&
               ::getsockname(listener_.get(), address, &length) == 0,
           "listening");
  }

  std::uint16_t port() const { return ntohs(address_.sin_port); }

  // Connects and waits until it is ended.
  [[noreturn]] void hold_connections(std::size_t count) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    for (std::size_t i = 0; i < count; ++i) {
      const int client = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
      expect(::connect(client, reinterpret_cast<const sockaddr*>(&address_), sizeof(address_)) == 0, "connect");
      expect(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC) >= 0, "accept");
    }
    ::raise(SIGSTOP);
    throw std::logic_error("not to be continued");
  }

 private:
  Unique_Fd listener_;
  sockaddr_in address_{};
};

// Processes that hold connections to a server while it lives.
class Holders {
 public:
  Holders(Server& server, std::size_t connections) {
    for (std::size_t i = 0; i < HOLDERS; ++i) {
      holders_.push_back(start_copy([&] { server.hold_connections(connections / HOLDERS); }));
      int status = 0;
      ::waitpid(holders_.back(), &status, WUNTRACED);
      expect(WIFSTOPPED(status), "holding connections");
    }
  }
  ~Holders() {
    for (const pid_t holder : holders_)
      end(holder);
  }
  Holders(const Holders&) = delete;
  Holders& operator=(const Holders&) = delete;

 private:
  std::vector<pid_t> holders_;
};

// One question to the kernel and its answer, nothing looked at but where it ends.
void inet_diag(std::uint16_t port) {
  struct {
    nlmsghdr header;
    inet_diag_req_v2 question;
  } message{};
  message.header.nlmsg_len = sizeof(message);
  message.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  message.question.sdiag_family = AF_INET;
  message.question.sdiag_protocol = IPPROTO_TCP;
  message.question.idiag_states = 1U << TCP_LISTEN;
  message.question.id.idiag_sport = htons(port);

  const Unique_Fd socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
  expect(::send(socket.get(), &message, sizeof(message), 0) == sizeof(message), "asking for sockets");
  alignas(nlmsghdr) char answer[8192];
  int parts = 0;
  do {
    expect(::recv(socket.get(), answer, sizeof(answer), 0) > 0, "answer about sockets");
    ++parts;
  } while (reinterpret_cast<const nlmsghdr*>(answer)->nlmsg_type != NLMSG_DONE);
  expect(parts > 1, "finding the socket");
}

void table(std::uint16_t port) {
  std::ifstream file("/proc/net/tcp");
  bool found = false;
  for (std::string line; std::getline(file, line);) {
    unsigned local_port = 0;
    unsigned state = 0;
    const int fields = std::sscanf(line.c_str(), " %*d: %*[0-9A-F]:%X %*[0-9A-F]:%*X %X", &local_port, &state);
    found = found || (fields == 2 && local_port == port && state == TCP_LISTEN);
  }
  expect(found, "finding the socket");
}

double race(const std::string& name, std::uint16_t port) {
  const auto ours = [port] { expect(platform::check_port_listening(port), "finding the socket"); };
  return race_loops({name,
                     ours,
                     {{"floor: inet_diag", [port] { inet_diag(port); }, 1.3},
                      {"/proc/net/tcp", [port] { table(port); }},
                      {"ss -ltn", [] {
                         finish(start_program({"/usr/bin/ss", "-ltn"}));
                       }}}});
}

}  // namespace

void listening_check() {
  Server server;
  const double idle = race("listening, no connection", server.port());
  const Holders holders(server, CONNECTIONS);
  const std::string name = "listening, " + std::to_string(CONNECTIONS) + " connections";
  compare(name, race(name, server.port()), "the same with no connection", idle, 1.3);
}

void connection_growth() {
  for (const std::size_t connections : {100, 1'000, 10'000}) {
    Server server;
    const Holders holders(server, connections);
    grow("connections beside a listening check", connections,
         [&] { expect(platform::check_port_listening(server.port()), "finding the socket"); });
  }
}

}  // namespace bench
