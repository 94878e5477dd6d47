#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/files/unique_fd.h"

namespace test {

// What the server sends to one request, byte by byte as it stands, and what becomes of the connection then.
struct Scripted_Answer {
  enum Then {
    KEEP,  // waits for the connection's next request
    CLOSE,
    RESET,  // ends it by an error
    FLOOD,  // sends `more` again and again
    DRIP    // sends a byte every 20 ms
  };
  std::string bytes;
  Then then = CLOSE;
  std::string more = "";
};

// A whole response with this body.
inline Scripted_Answer whole(const std::string& body, const std::string& status = "200 OK",
                             const std::string& headers = "", Scripted_Answer::Then then = Scripted_Answer::CLOSE) {
  const std::string length = "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
  return {"HTTP/1.1 " + status + "\r\n" + headers + length + body, then, ""};
}

// A server on 127.0.0.1 for what no decent HTTP server does: it answers the first request that it reads, on whatever
// connection, with the first answer and so on; the last answer serves for all others.
class Scripted_Server {
 public:
  explicit Scripted_Server(std::vector<Scripted_Answer> answers)
      : answers_(std::move(answers)), listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t length = sizeof(address);
    EXPECT_EQ(::bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
    EXPECT_EQ(::listen(listener_.get(), 16), 0);
    EXPECT_EQ(::getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    thread_ = std::thread([this] { serve(); });
  }
  ~Scripted_Server() {
    EXPECT_EQ(::shutdown(listener_.get(), SHUT_RD), 0);
    thread_.join();
  }
  Scripted_Server(const Scripted_Server&) = delete;
  Scripted_Server& operator=(const Scripted_Server&) = delete;

  const std::string& url() const { return url_; }

  // The requests read so far, whole with their bodies, and how many connections they came over.
  std::vector<std::string> requests() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
  }
  std::size_t connections() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return connections_;
  }

 private:
  struct Connection {
    platform::Unique_Fd socket;
    std::string request;  // what has come of it
  };

  void serve() {
    std::list<Connection> connections;
    for (;;) {
      std::vector<pollfd> sockets{{listener_.get(), POLLIN, 0}};
      for (const Connection& connection : connections)
        sockets.push_back({connection.socket.get(), POLLIN, 0});
      ::poll(sockets.data(), sockets.size(), -1);

      auto ready = sockets.cbegin();
      connections.remove_if([&](Connection& connection) { return (++ready)->revents != 0 && !go_on(connection); });
      if (sockets[0].revents == 0) continue;
      platform::Unique_Fd socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (!socket) return;
      connections.push_back({std::move(socket), ""});
      const std::lock_guard<std::mutex> lock(mutex_);
      ++connections_;
    }
  }

  // Reads on, and answers a request that is whole. False if the connection is over.
  bool go_on(Connection& connection) {
    char part[65536];
    const ssize_t count = ::recv(connection.socket.get(), part, sizeof(part), 0);
    if (count <= 0) return false;
    connection.request.append(part, static_cast<std::size_t>(count));
    if (connection.request.size() < request_length(connection.request)) return true;

    std::unique_lock<std::mutex> lock(mutex_);
    const Scripted_Answer& answer = answers_[std::min(requests_.size(), answers_.size() - 1)];
    requests_.push_back(std::exchange(connection.request, ""));
    lock.unlock();
    return send_answer(connection.socket.get(), answer);
  }

  // The length that a whole request has by its header; npos while the header is not complete.
  static std::size_t request_length(const std::string& text) {
    const std::size_t header_end = text.find("\r\n\r\n");
    if (header_end == std::string::npos) return header_end;
    if (text.find("Transfer-Encoding: chunked") < header_end) {
      const std::size_t end = text.find("\r\n0\r\n\r\n", header_end);
      return end == std::string::npos ? end : end + 7;
    }
    const std::size_t length = text.find("Content-Length: ");
    return header_end + 4 + (length < header_end ? std::stoul(text.substr(length + 16)) : 0);
  }

  // A blocking socket takes all, or the peer is gone.
  static bool send_all(int socket, const std::string& bytes) {
    return ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
  }

  static bool send_answer(int socket, const Scripted_Answer& answer) {
    const bool drips = answer.then == Scripted_Answer::DRIP;
    bool open = drips || send_all(socket, answer.bytes);
    for (std::size_t i = 0; drips && open && i < answer.bytes.size(); ++i)
      open = ::usleep(20'000) == 0 && send_all(socket, answer.bytes.substr(i, 1));
    while (open && answer.then == Scripted_Answer::FLOOD)
      open = send_all(socket, answer.more);
    const linger at_once{1, 0};
    if (answer.then == Scripted_Answer::RESET) ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
    return answer.then == Scripted_Answer::KEEP;
  }

  const std::vector<Scripted_Answer> answers_;
  const platform::Unique_Fd listener_;  // shut down when the server ends
  std::string url_;
  std::thread thread_;

  std::mutex mutex_;
  std::vector<std::string> requests_;
  std::size_t connections_ = 0;
};

}  // namespace test
