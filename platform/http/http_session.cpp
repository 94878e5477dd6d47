#include "platform/http/http_session.h"

#include <curl/curl.h>
#include <pthread.h>
#include <signal.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>
#include <mutex>
#include <utility>

#include "platform/http/header_line.h"
#include "platform/log/log.h"

namespace platform {
namespace {

constexpr long IDLE_BYTES_PER_SECOND = 100;
constexpr std::size_t MAX_HEADER_BYTES = std::size_t{256} << 10;

// Keeps a SIGPIPE that a TLS library may cause away from the host program while it lives.
class Sigpipe_Block {
 public:
  Sigpipe_Block() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &previous_);
  }
  ~Sigpipe_Block() {
    const int saved_errno = errno;
    const timespec at_once{};
    while (!was_pending_ && sigtimedwait(&pipe_, nullptr, &at_once) < 0 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    errno = saved_errno;
  }
  Sigpipe_Block(const Sigpipe_Block&) = delete;
  Sigpipe_Block& operator=(const Sigpipe_Block&) = delete;

 private:
  sigset_t pipe_;
  sigset_t previous_;
  bool was_pending_;
};

struct Curl_Deleter {
  void operator()(CURL* curl) const {
    const Sigpipe_Block block;
    curl_easy_cleanup(curl);
  }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
  void operator()(char* text) const { curl_free(text); }
};
using Curl_Handle = std::unique_ptr<CURL, Curl_Deleter>;
using Curl_List = std::unique_ptr<curl_slist, Curl_Deleter>;

// What the callbacks of one request write to.
struct Exchange {
  HTTP_Response& response;
  std::size_t max_body;
  std::size_t header_bytes = 0;
  bool connected = false;  // the request is about to be written
  bool interim = false;    // the header under way is one of status 1xx
  bool header_whole = false;
  bool over_limit = false;
};

// A status line, "HTTP/1.1 200 OK", begins a header; one of an interim response is not the last.
std::size_t take_header_line(std::string_view line, Exchange& exchange) {
  exchange.header_bytes += line.size();
  exchange.over_limit = exchange.header_bytes > MAX_HEADER_BYTES;
  if (exchange.over_limit) return 0;

  if (line.substr(0, 5) == "HTTP/") {
    exchange.response.headers() = HTTP_Headers();
    exchange.response.minor_version(line.substr(5, 3) == "1.0" ? 0 : 1);
    exchange.interim = line.substr(8, 2) == " 1";
  } else if (line == "\r\n" || line == "\n") {
    exchange.header_whole = !exchange.interim;
  } else {
    add_header_line(line, exchange.response.headers());
  }
  return line.size();
}

std::size_t take_body(std::string_view part, Exchange& exchange) {
  std::string& body = exchange.response.body();
  exchange.over_limit = part.size() > exchange.max_body - body.size();
  if (exchange.over_limit) return 0;
  body += part;
  return part.size();
}

// The C library calls these; nothing may be thrown through it.
template <std::size_t (*take)(std::string_view, Exchange&)>
std::size_t callback(char* data, std::size_t size, std::size_t count, void* exchange) {
  try {
    return take({data, size * count}, *static_cast<Exchange*>(exchange));
  } catch (const std::exception&) {
    return 0;
  }
}

int note_connected(void* exchange, char*, char*, int, int) {
  static_cast<Exchange*>(exchange)->connected = true;
  return CURL_PREREQFUNC_OK;
}

bool is_untrusted(CURLcode code) {
  return code == CURLE_PEER_FAILED_VERIFICATION || code == CURLE_SSL_CACERT_BADFILE || code == CURLE_SSL_ISSUER_ERROR;
}

// The library takes the end of the connection for the end of a header, too.
HTTP_Outcome outcome_of(CURLcode code, const Exchange& exchange) {
  if (code == CURLE_OK && exchange.header_whole) return HTTP_Outcome::COMPLETE;
  const bool unacceptable = exchange.over_limit || is_untrusted(code) || code == CURLE_FILESIZE_EXCEEDED ||
                            code == CURLE_URL_MALFORMAT || code == CURLE_UNSUPPORTED_PROTOCOL;
  if (unacceptable) return HTTP_Outcome::UNACCEPTABLE;
  return exchange.connected ? HTTP_Outcome::INTERRUPTED : HTTP_Outcome::NOT_SENT;
}

// Null if memory has run out.
Curl_List header_list(const HTTP_Request& request, const HTTP_Content* content) {
  const bool typed = content != nullptr && content->type != nullptr;
  const std::string lines[] = {
      // An empty value takes away what the library would send by itself.
      "Expect:",
      typed ? std::string("Content-Type: ") + content->type : "Content-Type:",
      (request.flags() & HTTP_REQUEST_ACCEPT_JSON) != 0 ? "Accept: application/json" : "Accept:",
      content != nullptr && content->chunked ? "Transfer-Encoding: chunked" : "Transfer-Encoding:",
  };
  Curl_List list;
  for (const std::string& line : lines) {
    curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) return nullptr;
    static_cast<void>(list.release());
    list.reset(longer);
  }
  return list;
}

class Curl_Session : public HTTP_Session {
 public:
  explicit Curl_Session(const HTTP_Session_Options& options) : options_(options) {
    while (!options_.base_url.empty() && options_.base_url.back() == '/')
      options_.base_url.pop_back();
  }

  HTTP_Outcome send(const char* method, const HTTP_Request& request, const HTTP_Content* content,
                    HTTP_Response& response) override;

 private:
  Curl_Handle take_handle();
  void set_rules(CURL* curl) const;
  void set_request(CURL* curl, const char* method, const HTTP_Request& request, const HTTP_Content* content) const;

  HTTP_Session_Options options_;
  std::mutex mutex_;
  Curl_Handle kept_;  // with its connection and TLS session, while no request is under way
};

Curl_Handle Curl_Session::take_handle() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (kept_) return std::move(kept_);
  return Curl_Handle(curl_easy_init());
}

void Curl_Session::set_rules(CURL* curl) const {
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(curl, CURLOPT_HTTP09_ALLOWED, 0L);
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(curl, CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
  curl_easy_setopt(curl, CURLOPT_PROXY, "");

  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, static_cast<long>(options_.connect_timeout));
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, IDLE_BYTES_PER_SECOND);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, static_cast<long>(options_.idle_timeout));
  curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(options_.max_body));

  curl_easy_setopt(curl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, options_.verify_peer ? 1L : 0L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, options_.verify_peer ? 2L : 0L);
  if (!options_.ca_file.empty()) {
    curl_easy_setopt(curl, CURLOPT_CAINFO, options_.ca_file.c_str());
    curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
  }
}

void Curl_Session::set_request(CURL* curl, const char* method, const HTTP_Request& request,
                               const HTTP_Content* content) const {
  curl_easy_setopt(curl, CURLOPT_URL, (options_.base_url + request.target()).c_str());
  if (content != nullptr) {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, content->text.data());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(content->text.size()));
  }
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method);
  if (std::strcmp(method, "GET") != 0) {
    // On a kept connection that proves dead, the library would send the request again by itself.
    curl_easy_setopt(curl, CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, 1L);
  }

  if (!options_.user.empty() && (request.flags() & HTTP_REQUEST_AUTHENTICATE) != 0) {
    curl_easy_setopt(curl, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    curl_easy_setopt(curl, CURLOPT_USERNAME, options_.user.c_str());
    curl_easy_setopt(curl, CURLOPT_PASSWORD, options_.password.c_str());
  }
}

HTTP_Outcome Curl_Session::send(const char* method, const HTTP_Request& request, const HTTP_Content* content,
                                HTTP_Response& response) {
  const Curl_List headers = header_list(request, content);
  Curl_Handle handle = take_handle();
  if (!headers || !handle) return HTTP_Outcome::NOT_SENT;

  CURL* const curl = handle.get();
  Exchange exchange{response, options_.max_body};
  std::array<char, CURL_ERROR_SIZE> cause{};
  set_rules(curl);
  set_request(curl, method, request, content);
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &callback<take_header_line>);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &exchange);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &callback<take_body>);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &exchange);
  curl_easy_setopt(curl, CURLOPT_PREREQFUNCTION, &note_connected);
  curl_easy_setopt(curl, CURLOPT_PREREQDATA, &exchange);
  curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, cause.data());

  CURLcode code = CURLE_OK;
  {
    const Sigpipe_Block block;
    code = curl_easy_perform(curl);
  }
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  response.status(static_cast<int>(status));
  const HTTP_Outcome outcome = outcome_of(code, exchange);
  if (outcome != HTTP_Outcome::COMPLETE) {
    const char* const text = code == CURLE_OK ? "the header is cut" : curl_easy_strerror(code);
    log_debug("Failed to send %s to '%s': %s\n", method, options_.base_url.c_str(),
              cause[0] != '\0' ? cause.data() : text);
  }

  // Nothing but the connection stays, no pointer into this call.
  curl_easy_reset(curl);
  const std::lock_guard<std::mutex> lock(mutex_);
  kept_ = std::move(handle);
  return outcome;
}

bool has_part(CURLU* url, CURLUPart part) {
  char* text = nullptr;
  const bool has = curl_url_get(url, part, &text, 0) == CURLUE_OK;
  const std::unique_ptr<char, Curl_Deleter> owner(text);
  return has;
}

// Why a base address cannot serve; null if it can.
const char* refusal(const std::string& base_url) {
  const std::unique_ptr<CURLU, Curl_Deleter> url(curl_url());
  if (!url || curl_url_set(url.get(), CURLUPART_URL, base_url.c_str(), 0) != CURLUE_OK)
    return "the base address is no URL";

  char* text = nullptr;
  if (curl_url_get(url.get(), CURLUPART_SCHEME, &text, 0) != CURLUE_OK) return "the base address has no scheme";
  const std::unique_ptr<char, Curl_Deleter> scheme(text);
  if (std::strcmp(text, "http") != 0 && std::strcmp(text, "https") != 0)
    return "the base address is neither http nor https";

  for (const CURLUPart part : {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_QUERY, CURLUPART_FRAGMENT}) {
    if (has_part(url.get(), part)) return "the base address has a user, a query or a fragment";
  }
  return nullptr;
}

const char* refusal(const HTTP_Session_Options& options) {
  static const CURLcode initialized = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (initialized != CURLE_OK) return curl_easy_strerror(initialized);
  if (options.connect_timeout < 1 || options.idle_timeout < 1) return "a time limit is not positive";
  if (options.user.find(':') != std::string::npos) return "the user name holds a colon";
  return refusal(options.base_url);
}

}  // namespace

HTTP_Session::~HTTP_Session() = default;

HTTP_Session_var make_http_session(const HTTP_Session_Options& options) {
  if (const char* const cause = refusal(options)) {
    log_debug("Failed to make an HTTP session: %s\n", cause);
    return nullptr;
  }
  return std::make_shared<Curl_Session>(options);
}

}  // namespace platform
