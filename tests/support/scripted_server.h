#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/files/unique_fd.h"

namespace test {

// What the server sends to one request, byte by byte as it stands, and what becomes of the connection then.
struct Scripted_Answer {
  enum Then {
    KEEP,  // waits for the connection's next request
    CLOSE,
    RESET,  // ends it by an error
    HANG,   // neither sends nor closes
    FLOOD,  // sends `more` again and again
    DRIP    // sends a byte every 20 ms
  };
  std::string bytes;
  Then then = CLOSE;
  std::string more = "";
};

// A whole response with this body.
Scripted_Answer whole(const std::string& body, const std::string& status = "200 OK", const std::string& headers = "",
                      Scripted_Answer::Then then = Scripted_Answer::CLOSE);

// A server on 127.0.0.1 for what no decent HTTP server does: it answers the first request that it reads, on whatever
// connection, with the first answer and so on; the last answer serves for all others.
class Scripted_Server {
 public:
  explicit Scripted_Server(std::vector<Scripted_Answer> answers);
  ~Scripted_Server();
  Scripted_Server(const Scripted_Server&) = delete;
  Scripted_Server& operator=(const Scripted_Server&) = delete;

  std::string url() const;

  // The requests read so far, whole with their bodies, and how many connections they came over.
  std::vector<std::string> requests();
  std::size_t connections();

 private:
  void accept_all();
  void serve(const platform::Unique_Fd& connection);
  bool read_request(const platform::Unique_Fd& connection, Scripted_Answer& answer);
  bool wait_to_stop(int fd, short events, int milliseconds) const;

  std::vector<Scripted_Answer> answers_;
  platform::Unique_Fd listener_;
  platform::Unique_Fd stop_;  // readable once the server ends
  int port_ = 0;
  std::thread thread_;
  std::vector<std::thread> workers_;

  std::mutex mutex_;
  std::vector<std::string> requests_;
  std::size_t connections_ = 0;
};

}  // namespace test
