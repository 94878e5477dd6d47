#pragma once

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

  // Answers the next request with this status and nothing else; calls add up.
  void fail_next(int status);

  // Takes what has been asked so far, oldest first: "GET /vx/r/hana/backint/job?job_uuid=1 BODY".
  std::vector<std::string> take_requests();

 private:
  void answer(const httplib::Request& request, httplib::Response& response);
  void answer_job(const httplib::Request& request, httplib::Response& response);
  void answer_file(const httplib::Request& request, httplib::Response& response);

  Catalog_Service_Options options_;
  Catalog_Store store_;
  std::unique_ptr<httplib::Server> server_;
  int port_ = 0;
  std::thread thread_;

  std::mutex mutex_;
  std::deque<int> faults_;
  std::vector<std::string> requests_;
};

}  // namespace sandbox
