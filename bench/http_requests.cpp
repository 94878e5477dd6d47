#include <curl/curl.h>
#include <httplib.h>

#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/cases.h"
#include "bench/measure.h"
#include "bench/program.h"
#include "platform/http/json_http_session.h"
#include "platform/json/text.h"
#include "sandbox/certificate.h"

namespace bench {
namespace {

using platform::JSON_HTTP_Session;

constexpr std::size_t THREADS = 8;
constexpr std::size_t WORKERS = 4 * THREADS;  // each kept connection keeps one busy
constexpr char CERTIFICATE[] = "/tmp/bench_certificate.pem";
constexpr char KEY[] = "/tmp/bench_key.pem";
constexpr char BODY[] =
    R"({"total":1,"files":[{"id":42,"filename":"log_backup_1_0_538414336_538623872","size":67108864,"location":null}]})";

// A decent server that keeps its connections, in a process of its own.
class Server {
 public:
  explicit Server(bool tls)
      : tls_(tls),
        server_(tls ? std::make_unique<httplib::SSLServer>(CERTIFICATE, KEY) : std::make_unique<httplib::Server>()) {
    const auto answer = [](const httplib::Request&, httplib::Response& response) {
      response.set_content(BODY, "application/json");
    };
    server_->Get("/files", answer);
    server_->Post("/files", answer);
    server_->set_tcp_nodelay(true);
    server_->new_task_queue = [] { return new httplib::ThreadPool(WORKERS); };
    server_->set_keep_alive_max_count(1'000'000'000);
    port_ = server_->bind_to_any_port("127.0.0.1");
    process_ = start_copy([this] { server_->listen_after_bind(); });
  }
  ~Server() { end(process_); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::string base_url() const { return (tls_ ? "https" : "http") + ("://localhost:" + std::to_string(port_)); }

 private:
  bool tls_;
  std::unique_ptr<httplib::Server> server_;
  int port_;
  pid_t process_;
};

std::size_t keep(char* data, std::size_t, std::size_t length, void* text) {
  static_cast<std::string*>(text)->append(data, length);
  return length;
}

// libcurl as a program would use it by itself, for one address.
class Curl {
 public:
  enum Connection { KEPT, FRESH };

  Curl(const std::string& url, const char* post, Connection connection) : handle_(::curl_easy_init()) {
    ::curl_easy_setopt(handle_, CURLOPT_URL, url.c_str());
    ::curl_easy_setopt(handle_, CURLOPT_CAINFO, CERTIFICATE);
    ::curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    ::curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, keep);
    ::curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &body_);
    if (post != nullptr) ::curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, post);
    if (connection == FRESH) ::curl_easy_setopt(handle_, CURLOPT_FORBID_REUSE, 1L);
  }
  ~Curl() { ::curl_easy_cleanup(handle_); }
  Curl(const Curl&) = delete;
  Curl& operator=(const Curl&) = delete;

  void run() {
    body_.clear();
    expect(::curl_easy_perform(handle_) == CURLE_OK && body_ == BODY, "curl's request");
  }

 private:
  CURL* handle_;
  std::string body_;
};

JSON_HTTP_Session make_session(const Server& server) {
  platform::HTTP_Session_Options options;
  options.base_url = server.base_url();
  options.ca_file = CERTIFICATE;
  return JSON_HTTP_Session(platform::make_http_session(options), 0, 0);
}

void get_files(JSON_HTTP_Session& session) {
  platform::HTTP_Request request(platform::HTTP_REQUEST_ACCEPT_JSON, "/files", false);
  platform::HTTP_Response response;
  platform::json::Value value;
  expect(session.get(request, response, value) && value.type() == platform::json::obj_type, "our GET");
}

void race(const std::string& scheme, bool tls) {
  const Server server(tls);
  const std::string url = server.base_url() + "/files";
  JSON_HTTP_Session session = make_session(server);
  Curl kept(url, nullptr, Curl::KEPT);
  const auto get = [&] { get_files(session); };
  race_loops({scheme + ", a small GET", get, {{"curl, handle kept", [&] { kept.run(); }, 1.05}}});

  Curl fresh(url, BODY, Curl::FRESH);
  platform::json::Value content;
  expect(platform::json::loads_json(BODY, sizeof(BODY) - 1, content, 0), "the content");
  platform::HTTP_Request request(platform::HTTP_REQUEST_ACCEPT_JSON, "/files", false);
  const auto post = [&] {
    platform::HTTP_Response response;
    expect(session.post(request, &content, response, nullptr) && response.status() == 200, "our POST");
  };
  race_loops({scheme + ", a small POST", post, {{"curl, handle kept, fresh connection", [&] { fresh.run(); }, 1.2}}});
}

// GETs of as many threads at once as there are sessions.
void get_in_threads(const std::vector<JSON_HTTP_Session>& sessions) {
  std::vector<std::thread> threads;
  for (JSON_HTTP_Session session : sessions) {
    threads.emplace_back([session]() mutable {
      for (int i = 0; i < 50; ++i)
        get_files(session);
    });
  }
  for (std::thread& thread : threads)
    thread.join();
}

void race_threads() {
  const Server server(true);
  const std::vector<JSON_HTTP_Session> one(THREADS, make_session(server));
  std::vector<JSON_HTTP_Session> each;
  for (std::size_t i = 0; i < THREADS; ++i)
    each.push_back(make_session(server));
  race_runs({"HTTPS, 400 GETs of eight threads, a session",
             [&] { get_in_threads(one); },
             {{"a session for each", [&] { get_in_threads(each); }, 1.2}}},
            11);
}

}  // namespace

void http_requests() {
  expect(sandbox::write_certificate(CERTIFICATE, KEY), "making a certificate");
  race("HTTP", false);
  race("HTTPS", true);
  race_threads();
}

}  // namespace bench
