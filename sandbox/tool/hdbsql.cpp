#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <system_error>

#include "platform/files/unique_fd.h"
#include "sandbox/paths.h"
#include "sandbox/tool/sql_session.h"
#include "sandbox/tool/tool.h"

namespace sandbox {

namespace {

constexpr int usage_error = 1;
constexpr int statement_error = 3;  // also for what goes wrong while connecting

struct Request {
  std::string user;
  std::string password;
  std::string instance;
  std::string database;
  std::string address;
  std::string statement;
};

std::string* option_of(Request& request, const std::string& name) {
  if (name == "-u") return &request.user;
  if (name == "-p") return &request.password;
  if (name == "-i") return &request.instance;
  if (name == "-d") return &request.database;
  return name == "-n" ? &request.address : nullptr;
}

bool parse(const Arguments& arguments, Request& request) {
  std::size_t i = 1;
  while (i + 1 < arguments.size()) {
    std::string* option = option_of(request, arguments[i]);
    if (option == nullptr) return false;
    *option = arguments[i + 1];
    i += 2;
  }
  if (i + 1 != arguments.size()) return false;
  request.statement = arguments[i];
  return !request.user.empty() && request.address.find(':') != std::string::npos;
}

Sql_Error connect_error(const char* call, int code, const std::string& where) {
  return {-10709, std::string("Connection failed (RTE:[89006] System call '") + call + "' failed, rc=" +
                      std::to_string(code) + ":" + std::generic_category().message(code) + " (" + where + "))"};
}

sockaddr_in resolve(const std::string& host, const std::string& port) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* first = nullptr;
  if (::getaddrinfo(host.c_str(), port.c_str(), &hints, &first) != 0)
    throw connect_error("getaddrinfo", ENOENT, host + ":" + port);
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> list(first, &::freeaddrinfo);
  return *reinterpret_cast<const sockaddr_in*>(list->ai_addr);
}

// Connects to "HOST:PORT" and returns the SID that the server there tells.
std::string sid_at(const std::string& address) {
  const std::size_t colon = address.rfind(':');
  const sockaddr_in server = resolve(address.substr(0, colon), address.substr(colon + 1));
  char ip[INET_ADDRSTRLEN];
  ::inet_ntop(AF_INET, &server.sin_addr, ip, sizeof(ip));
  const std::string where = ip + address.substr(colon);

  const platform::Unique_Fd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const timeval limit{10, 0};
  ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&server), sizeof(server)) != 0)
    throw connect_error("connect", errno, where);
  std::string greeting;
  char c = 0;
  while (::recv(socket.get(), &c, 1, 0) == 1 && c != '\n')
    greeting += c;
  if (c != '\n') throw connect_error("recv", ECONNRESET, where);
  return greeting;
}

// One line a statement; a newline in one is written as \n.
void record(const std::string& sid, const std::string& statement) {
  std::string line;
  for (const char c : statement)
    line += c == '\n' ? "\\n" : std::string(1, c);
  line += "\n";
  const platform::Unique_Fd file(
      ::open((system_state(sid) + "/statements").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
  ::fchmod(file.get(), 0666);
  if (::write(file.get(), line.data(), line.size()) < 0) throw Sql_Error(2, "general error: statement log");
}

}  // namespace

int run_hdbsql(const Arguments& arguments) {
  Request request;
  if (!parse(arguments, request)) {
    std::fprintf(stderr, "usage: hdbsql -u USER -p PASSWORD -i NUMBER [-d DATABASE] -n HOST:PORT STATEMENT\n");
    return usage_error;
  }
  try {
    const std::string sid = sid_at(request.address);
    Sql_Session session(system_state(sid) + "/database", request.user, request.password, request.database);
    record(sid, request.statement);
    session.execute(request.statement, stdout);
  } catch (const Sql_Error& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s\n", error.what());
    return statement_error;
  }
  return 0;
}

}  // namespace sandbox
