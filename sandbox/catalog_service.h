#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sandbox/catalog_store.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace sandbox {

struct Catalog_Service_Options {
  int port = 0;  // 0 for one of the system's choice
  std::string database = ":memory:";
  std::string user;  // empty: everybody may do everything
  std::string password;
  std::string certificate;  // PEM files; empty: without TLS
  std::string key;
};

// How the service fails instead of answering.
struct Catalog_Fault {
  enum Kind {
    REPLY,        // the status and the body given
    SLOW_HEADER,  // nothing for as long as anybody waits
    SLOW_BODY,    // a header, then a byte a tenth of a second
    CUT,          // half of the body that the header announces
    MALFORMED,    // 200 and a body that is not JSON
    ENDLESS,      // a body that never ends
    REDIRECT      // 302 to the address given
  };
  Kind kind = REPLY;
  int status = 200;
  std::string text = "";  // the body, or the address
};

struct Catalog_Request {
  std::string method;
  std::string target;
  std::string body;
  bool authorized;  // it carried credentials, right or wrong
};

// The backup server's catalog, as much of it as the library talks to: "/vx/r/hana/backint/job" and
// "/vx/r/hana/backint/file" on 127.0.0.1, with jobs and files kept in SQLite. Serves from its construction to its
// destruction on threads of its own. Throws std::runtime_error if it cannot be started.
class Catalog_Service {
 public:
  static constexpr int DEFAULT_LIMIT = 1000;  // files of a listing that asks for no limit

  explicit Catalog_Service(const Catalog_Service_Options& options);
  ~Catalog_Service();
  Catalog_Service(const Catalog_Service&) = delete;
  Catalog_Service& operator=(const Catalog_Service&) = delete;

  int port() const { return port_; }
  std::string base_url() const;

  // Fails the next request in this way; calls add up.
  void fail_next(const Catalog_Fault& fault);

  // Takes what has been asked so far, oldest first.
  std::vector<Catalog_Request> take_requests();

 private:
  void answer(const httplib::Request& request, httplib::Response& response);
  void answer_job(const httplib::Request& request, httplib::Response& response);
  void answer_file(const httplib::Request& request, httplib::Response& response);
  void fail(const Catalog_Fault& fault, httplib::Response& response);
  bool wait(std::chrono::milliseconds time);

  Catalog_Service_Options options_;
  Catalog_Store store_;
  std::unique_ptr<httplib::Server> server_;
  int port_ = 0;
  std::thread thread_;

  std::mutex mutex_;
  std::condition_variable stopped_;
  bool stopping_ = false;
  std::deque<Catalog_Fault> faults_;
  std::vector<Catalog_Request> requests_;
};

}  // namespace sandbox
