#include "tests/support/scripted_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace test {
namespace {

// The length that a whole request has by its header; npos while the header is not complete.
std::size_t request_length(const std::string& text) {
  const std::size_t header_end = text.find("\r\n\r\n");
  if (header_end == std::string::npos) return header_end;
  if (text.find("Transfer-Encoding: chunked") < header_end) {
    const std::size_t end = text.find("\r\n0\r\n\r\n", header_end);
    return end == std::string::npos ? end : end + 7;
  }
  const std::size_t length = text.find("Content-Length: ");
  return header_end + 4 + (length < header_end ? std::stoul(text.substr(length + 16)) : 0);
}

bool send_all(int fd, const std::string& bytes) {
  // A blocking socket takes all, or the peer is gone.
  return ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

}  // namespace

Scripted_Answer whole(const std::string& body, const std::string& status, const std::string& headers,
                      Scripted_Answer::Then then) {
  return {
      "HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body,
      then, ""};
}

Scripted_Server::Scripted_Server(std::vector<Scripted_Answer> answers)
    : answers_(std::move(answers)),
      listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      stop_(::eventfd(0, EFD_CLOEXEC)) {
  sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
  socklen_t length = sizeof(address);
  EXPECT_EQ(::bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
  EXPECT_EQ(::listen(listener_.get(), 16), 0);
  EXPECT_EQ(::getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { accept_all(); });
}

Scripted_Server::~Scripted_Server() {
  const std::uint64_t one = 1;
  EXPECT_EQ(::write(stop_.get(), &one, sizeof(one)), static_cast<ssize_t>(sizeof(one)));
  thread_.join();
  for (std::thread& worker : workers_)
    worker.join();
}

std::string Scripted_Server::url() const {
  return "http://127.0.0.1:" + std::to_string(port_);
}

std::vector<std::string> Scripted_Server::requests() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

std::size_t Scripted_Server::connections() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return connections_;
}

// True if the server is to stop; false once `fd` is ready or the time is over.
bool Scripted_Server::wait_to_stop(int fd, short events, int milliseconds) const {
  pollfd fds[] = {{stop_.get(), POLLIN, 0}, {fd, events, 0}};
  return ::poll(fds, 2, milliseconds) > 0 && fds[0].revents != 0;
}

void Scripted_Server::accept_all() {
  while (!wait_to_stop(listener_.get(), POLLIN, -1)) {
    platform::Unique_Fd connection(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!connection) continue;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ++connections_;
    }
    workers_.emplace_back([this, fd = connection.release()] { serve(platform::Unique_Fd(fd)); });
  }
}

bool Scripted_Server::read_request(const platform::Unique_Fd& connection, Scripted_Answer& answer) {
  std::string text;
  while (text.size() < request_length(text)) {
    if (wait_to_stop(connection.get(), POLLIN, -1)) return false;
    char part[65536];
    const ssize_t count = ::recv(connection.get(), part, sizeof(part), 0);
    if (count <= 0) return false;
    text.append(part, static_cast<std::size_t>(count));
  }

  const std::lock_guard<std::mutex> lock(mutex_);
  answer = answers_[std::min(requests_.size(), answers_.size() - 1)];
  requests_.push_back(std::move(text));
  return true;
}

void Scripted_Server::serve(const platform::Unique_Fd& connection) {
  Scripted_Answer answer;
  while (read_request(connection, answer)) {
    if (answer.then == Scripted_Answer::DRIP) {
      for (const char c : answer.bytes) {
        if (wait_to_stop(-1, 0, 20) || !send_all(connection.get(), std::string(1, c))) return;
      }
      return;
    }

    bool open = send_all(connection.get(), answer.bytes);
    while (open && answer.then == Scripted_Answer::FLOOD)
      open = send_all(connection.get(), answer.more);
    if (answer.then == Scripted_Answer::HANG) wait_to_stop(-1, 0, -1);
    if (answer.then == Scripted_Answer::RESET) {
      const linger at_once{1, 0};
      EXPECT_EQ(::setsockopt(connection.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once)), 0);
    }
    if (answer.then != Scripted_Answer::KEEP) return;
  }
}

}  // namespace test
