#pragma once

#include <cstdint>
#include <thread>
#include <vector>

#include "platform/files/unique_fd.h"

namespace test {

// Stands between a client and a server on 127.0.0.1 and ends some of the connections after a random number of bytes in
// either direction: before the request, within it, before the reply, within it. Which, the seed decides.
class Flaky_Proxy {
 public:
  Flaky_Proxy(int server_port, std::uint64_t seed);
  ~Flaky_Proxy();
  Flaky_Proxy(const Flaky_Proxy&) = delete;
  Flaky_Proxy& operator=(const Flaky_Proxy&) = delete;

  int port() const { return port_; }

 private:
  void accept_all(std::uint64_t seed);

  int server_port_;
  int port_ = 0;
  platform::Unique_Fd listener_;
  std::thread thread_;
};

}  // namespace test
