#include <curl/curl.h>
#include <httplib.h>
#include <openssl/bio.h>
#include <openssl/ssl.h>

#include <cstdio>
#include <memory>
#include <string>

#include "bench/cases.h"
#include "bench/measure.h"
#include "bench/program.h"
#include "platform/http/json_http_session.h"
#include "platform/json/text.h"
#include "sandbox/certificate.h"

namespace bench {
namespace {

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
    server_->set_keep_alive_max_count(1'000'000'000);
    port_ = server_->bind_to_any_port("127.0.0.1");
    process_ = start_copy([this] { server_->listen_after_bind(); });
  }
  ~Server() { end(process_); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::string base_url() const { return (tls_ ? "https://" : "http://") + address(); }
  std::string address() const { return "localhost:" + std::to_string(port_); }

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

// The floor: bytes to and from one connection, nothing looked at but where the answer ends.
class Raw_Connection {
 public:
  Raw_Connection(const Server& server, bool tls) : context_(::SSL_CTX_new(::TLS_client_method())) {
    bio_ = tls ? ::BIO_new_ssl_connect(context_) : ::BIO_new(::BIO_s_connect());
    BIO_set_conn_hostname(bio_, server.address().c_str());
    BIO_set_nbio(bio_, 0);
    expect(BIO_do_connect(bio_) == 1, "connecting");
    request_ = "GET /files HTTP/1.1\r\nHost: " + server.address() + "\r\n\r\n";
  }
  ~Raw_Connection() {
    ::BIO_free_all(bio_);
    ::SSL_CTX_free(context_);
  }
  Raw_Connection(const Raw_Connection&) = delete;
  Raw_Connection& operator=(const Raw_Connection&) = delete;

  void run() {
    expect(::BIO_write(bio_, request_.data(), static_cast<int>(request_.size())) > 0, "raw request");
    std::string answer;
    while (answer.find(BODY) == std::string::npos) {
      char buffer[4096];
      const int count = ::BIO_read(bio_, buffer, sizeof(buffer));
      expect(count > 0, "raw answer");
      answer.append(buffer, static_cast<std::size_t>(count));
    }
  }

 private:
  SSL_CTX* context_;
  BIO* bio_;
  std::string request_;
};

void race(const std::string& scheme, bool tls) {
  const Server server(tls);
  const std::string url = server.base_url() + "/files";
  platform::HTTP_Session_Options options;
  options.base_url = server.base_url();
  options.ca_file = CERTIFICATE;
  platform::JSON_HTTP_Session session(platform::make_http_session(options), 0, 0);
  platform::HTTP_Request request(platform::HTTP_REQUEST_ACCEPT_JSON, "/files", false);

  Curl kept(url, nullptr, Curl::KEPT);
  Raw_Connection raw(server, tls);
  const auto get = [&] {
    platform::HTTP_Response response;
    platform::json::Value value;
    expect(session.get(request, response, value) && value.type() == platform::json::obj_type, "our GET");
  };
  race_loops({scheme + ", a small GET",
              get,
              {{"floor: raw connection kept", [&] { raw.run(); }},
               {"curl, handle kept", [&] { kept.run(); }, 1.2},
               {"curl, fresh handle", [&] { Curl(url, nullptr, Curl::KEPT).run(); }}}});

  Curl fresh(url, BODY, Curl::FRESH);
  platform::json::Value content;
  expect(platform::json::loads_json(BODY, sizeof(BODY) - 1, content, 0), "the content");
  const auto post = [&] {
    platform::HTTP_Response response;
    expect(session.post(request, &content, response, nullptr) && response.status() == 200, "our POST");
  };
  race_loops({scheme + ", a small POST",
              post,
              {{"curl, handle kept, fresh connection", [&] { fresh.run(); }, 1.2},
               {"curl, fresh handle", [&] { Curl(url, BODY, Curl::KEPT).run(); }}}});
}

}  // namespace

void http_requests() {
  expect(sandbox::write_certificate(CERTIFICATE, KEY), "making a certificate");
  race("HTTP", false);
  race("HTTPS", true);
}

}  // namespace bench
