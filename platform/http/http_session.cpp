#include "platform/http/http_session.h"

#include <curl/curl.h>
#include <pthread.h>
#include <signal.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>
#include <list>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include "platform/http/header_line.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/text/natoi.h"

namespace platform {
namespace {

constexpr long IDLE_BYTES_PER_SECOND = 100;
constexpr std::size_t MAX_HEADER_BYTES = std::size_t{256} << 10;
constexpr int MAX_HEADER_LINES = 1000;  // fewer than any libcurl takes

// By number, so that what is built with an old libcurl uses what a newer one offers, and the other way round.
constexpr auto OPTION_PROTOCOLS = static_cast<CURLoption>(CURLOPTTYPE_LONG + 181);  // deprecated by 7.85, and served
constexpr auto OPTION_PREREQFUNCTION = static_cast<CURLoption>(CURLOPTTYPE_FUNCTIONPOINT + 312);  // since 7.80
constexpr auto OPTION_PREREQDATA = static_cast<CURLoption>(CURLOPTTYPE_OBJECTPOINT + 313);
constexpr int PREREQUEST_OK = 0;
constexpr auto OPTION_HTTP09_ALLOWED = static_cast<CURLoption>(CURLOPTTYPE_LONG + 285);  // since 7.64
constexpr auto ERROR_TOO_LARGE = static_cast<CURLcode>(100);                             // since 8.6

// Keeps a SIGPIPE that a TLS library may cause away from the host program while it lives. One that waited before, which
// it can only where the thread had blocked it, goes on waiting.
class Sigpipe_Block {
 public:
  Sigpipe_Block() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_, &previous_);
    was_pending_ = sigismember(&previous_, SIGPIPE) == 1 && is_pending();
  }
  ~Sigpipe_Block() {
    const int saved_errno = errno;
    const timespec at_once{};
    while (!was_pending_ && is_pending() && sigtimedwait(&pipe_, nullptr, &at_once) < 0 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    errno = saved_errno;
  }
  Sigpipe_Block(const Sigpipe_Block&) = delete;
  Sigpipe_Block& operator=(const Sigpipe_Block&) = delete;

 private:
  static bool is_pending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t pipe_;
  sigset_t previous_;
  bool was_pending_ = false;
};

struct Curl_Deleter {
  void operator()(CURL* curl) const {
    const Sigpipe_Block block;
    curl_easy_cleanup(curl);
  }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using Curl_Handle = std::unique_ptr<CURL, Curl_Deleter>;
using Curl_List = std::unique_ptr<curl_slist, Curl_Deleter>;

// What the callbacks of one request write to.
struct Exchange {
  HTTP_Response& response;
  std::size_t max_body;
  std::size_t header_bytes = 0;
  int header_lines = 0;
  bool connected = false;  // the request is about to be written
  bool interim = false;    // the header under way is one of status 1xx
  bool header_whole = false;
  bool unacceptable = false;  // beyond a limit, or it contradicts itself
};

// A status line, "HTTP/1.1 200 OK", begins a header; one of an interim response is not the last.
void take_status_line(std::string_view line, Exchange& exchange) {
  exchange.response.headers() = HTTP_Headers();
  exchange.response.minor_version(line.substr(5, 3) == "1.0" ? 0 : 1);
  const std::size_t blank = std::min(line.find(' '), line.size() - 1);
  exchange.response.status(natoi<int>(line.data() + blank + 1, line.data() + line.size()));
  exchange.interim = line.substr(blank, 2) == " 1";
}

std::size_t take_header_line(std::string_view line, Exchange& exchange) {
  exchange.header_bytes += line.size();
  exchange.unacceptable = exchange.header_bytes > MAX_HEADER_BYTES || ++exchange.header_lines > MAX_HEADER_LINES;
  if (exchange.unacceptable) return 0;

  if (line.substr(0, 5) == "HTTP/") {
    take_status_line(line, exchange);
  } else if (line == "\r\n" || line == "\n") {
    exchange.header_whole = !exchange.interim;
  } else {
    exchange.unacceptable = !add_header_line(line, exchange.response.headers());
  }
  return exchange.unacceptable ? 0 : line.size();
}

std::size_t take_body(std::string_view part, Exchange& exchange) {
  std::string& body = exchange.response.body();
  exchange.unacceptable = part.size() > exchange.max_body - body.size();
  if (exchange.unacceptable) return 0;
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
  return PREREQUEST_OK;
}

// The same for a libcurl that does not ask before a request: as soon as it has written some of it.
int note_written(CURL*, curl_infotype type, char*, std::size_t, void* exchange) {
  if (type == CURLINFO_HEADER_OUT) static_cast<Exchange*>(exchange)->connected = true;
  return 0;
}

bool is_untrusted(CURLcode code) {
  return code == CURLE_PEER_FAILED_VERIFICATION || code == CURLE_SSL_CACERT_BADFILE || code == CURLE_SSL_ISSUER_ERROR;
}

// The library takes the end of the connection for the end of a header, too.
HTTP_Outcome outcome_of(CURLcode code, const Exchange& exchange) {
  if (code == CURLE_OK && exchange.header_whole) return HTTP_Outcome::COMPLETE;
  const bool unacceptable = exchange.unacceptable || is_untrusted(code) || code == CURLE_FILESIZE_EXCEEDED ||
                            code == CURLE_URL_MALFORMAT || code == CURLE_UNSUPPORTED_PROTOCOL ||
                            code == ERROR_TOO_LARGE;
  if (unacceptable) return HTTP_Outcome::UNACCEPTABLE;
  return exchange.connected ? HTTP_Outcome::INTERRUPTED : HTTP_Outcome::NOT_SENT;
}

// Sets options of a handle until one fails, most likely for want of memory.
class Options {
 public:
  explicit Options(CURL* curl) : curl_(curl) {}

  template <class T>
  Options& set(CURLoption option, T value) {
    if (code_ == CURLE_OK) code_ = (curl_easy_setopt)(curl_, option, value);
    return *this;
  }

  // The same for one that not every libcurl has. False if this one has not.
  template <class T>
  bool set_where_known(CURLoption option, T value) {
    set(option, value);
    if (code_ != CURLE_UNKNOWN_OPTION) return true;
    code_ = CURLE_OK;
    return false;
  }

  void fail(CURLcode code) {
    if (code_ == CURLE_OK) code_ = code;
  }
  CURLcode code() const { return code_; }

 private:
  CURL* curl_;
  CURLcode code_ = CURLE_OK;
};

// One line of a request's header that libcurl does not write by itself, or should not: an empty value takes its own
// away.
using Header_Lines = std::array<std::string, 4>;

// One by one: where memory runs out, gcc before 12 loses the first texts of a list in braces.
Header_Lines header_lines(const HTTP_Request& request, const HTTP_Content* content) {
  Header_Lines lines;
  lines[0] = "Expect:";
  lines[1] = "Content-Type:";
  if (content != nullptr && content->type != nullptr) lines[1].append(1, ' ').append(content->type);
  lines[2] = (request.flags() & HTTP_REQUEST_ACCEPT_JSON) != 0 ? "Accept: application/json" : "Accept:";
  lines[3] = content != nullptr && content->chunked ? "Transfer-Encoding: chunked" : "Transfer-Encoding:";
  return lines;
}

// Null if memory has run out.
Curl_List make_list(const Header_Lines& lines) {
  Curl_List list;
  for (const std::string& line : lines) {
    curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) return nullptr;
    static_cast<void>(list.release());
    list.reset(longer);
  }
  return list;
}

// A handle with its connection and TLS session, for one request at a time. What is the same for all requests is set
// once, what is the same for the next one is left.
class Connection {
 public:
  // Null if memory has run out.
  static std::unique_ptr<Connection> open(const HTTP_Session_Options& options);

  CURLcode send(const char* method, const HTTP_Request& request, const HTTP_Content* content, Exchange& exchange);
  // What libcurl says of the last request; empty if nothing.
  const char* cause() const { return cause_.data(); }

 private:
  explicit Connection(const HTTP_Session_Options& options)
      : options_(options), tls_(::strncasecmp(options.base_url.c_str(), "https:", 6) == 0), curl_(curl_easy_init()) {}

  CURLcode set_rules();
  void set_credentials(Options& options, bool authenticate);
  void set_headers(Options& options, Header_Lines lines);

  const HTTP_Session_Options& options_;
  const bool tls_;
  Curl_List headers_;  // lives longer than the handle that uses it
  Header_Lines lines_;
  Curl_Handle curl_;
  std::array<char, CURL_ERROR_SIZE> cause_{};
  bool authenticated_ = false;
};

std::unique_ptr<Connection> Connection::open(const HTTP_Session_Options& options) {
  std::unique_ptr<Connection> connection(new Connection(options));
  if (!connection->curl_ || connection->set_rules() != CURLE_OK) return nullptr;
  return connection;
}

CURLcode Connection::set_rules() {
  Options options(curl_.get());
  options.set(CURLOPT_NOSIGNAL, 1L)
      .set(OPTION_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS))
      .set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1))
      .set(CURLOPT_FOLLOWLOCATION, 0L)
      .set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L)
      .set(CURLOPT_PROXY, "")
      .set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(options_.connect_timeout))
      .set(CURLOPT_LOW_SPEED_LIMIT, IDLE_BYTES_PER_SECOND)
      .set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(options_.idle_timeout))
      .set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(options_.max_body))
      .set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2))
      .set(CURLOPT_SSL_VERIFYPEER, options_.verify_peer ? 1L : 0L)
      .set(CURLOPT_SSL_VERIFYHOST, options_.verify_peer ? 2L : 0L)
      .set(CURLOPT_HEADERFUNCTION, &callback<take_header_line>)
      .set(CURLOPT_WRITEFUNCTION, &callback<take_body>)
      .set(CURLOPT_ERRORBUFFER, cause_.data());
  options.set_where_known(OPTION_HTTP09_ALLOWED, 0L);
  if (!options.set_where_known(OPTION_PREREQFUNCTION, &note_connected)) {
    options.set(CURLOPT_VERBOSE, 1L).set(CURLOPT_DEBUGFUNCTION, &note_written);
  }
  if (!options_.ca_file.empty()) {
    options.set(CURLOPT_CAINFO, options_.ca_file.c_str()).set(CURLOPT_CAPATH, static_cast<char*>(nullptr));
  }
  return options.code();
}

void Connection::set_credentials(Options& options, bool authenticate) {
  if (authenticate == authenticated_) return;
  options.set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC))
      .set(CURLOPT_USERNAME, authenticate ? options_.user.c_str() : nullptr)
      .set(CURLOPT_PASSWORD, authenticate ? options_.password.c_str() : nullptr);
  authenticated_ = authenticate;
}

void Connection::set_headers(Options& options, Header_Lines lines) {
  if (headers_ && lines == lines_) return;
  Curl_List list = make_list(lines);
  if (!list) return options.fail(CURLE_OUT_OF_MEMORY);
  options.set(CURLOPT_HTTPHEADER, list.get());
  headers_ = std::move(list);
  lines_ = std::move(lines);
}

// What stands on the request's first line. It is told, since libcurl takes a query that it has no memory for as none.
std::string target_of(const std::string& url) {
  const std::size_t scheme = url.find("://");
  const std::size_t path = url.find('/', scheme == std::string::npos ? 0 : scheme + 3);
  return path == std::string::npos ? "/" : url.substr(path);
}

CURLcode Connection::send(const char* method, const HTTP_Request& request, const HTTP_Content* content,
                          Exchange& exchange) {
  cause_[0] = '\0';
  Options options(curl_.get());
  const std::string url = options_.base_url + request.target();
  options.set(CURLOPT_URL, url.c_str()).set(CURLOPT_REQUEST_TARGET, target_of(url).c_str());
  if (content == nullptr) {
    options.set(CURLOPT_HTTPGET, 1L);
  } else {
    options.set(CURLOPT_POSTFIELDS, content->text.data())
        .set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(content->text.size()));
  }
  // On a kept connection that proves dead, the library would send a request again by itself.
  const long alone = std::strcmp(method, "GET") == 0 ? 0L : 1L;
  options.set(CURLOPT_CUSTOMREQUEST, method).set(CURLOPT_FRESH_CONNECT, alone).set(CURLOPT_FORBID_REUSE, alone);
  set_credentials(options, !options_.user.empty() && (request.flags() & HTTP_REQUEST_AUTHENTICATE) != 0);
  set_headers(options, header_lines(request, content));
  options.set(CURLOPT_HEADERDATA, &exchange).set(CURLOPT_WRITEDATA, &exchange);
  if (!options.set_where_known(OPTION_PREREQDATA, &exchange)) options.set(CURLOPT_DEBUGDATA, &exchange);
  if (options.code() != CURLE_OK) return options.code();

  std::optional<Sigpipe_Block> block;  // without TLS libcurl itself asks for no signal
  if (tls_) block.emplace();
  return curl_easy_perform(curl_.get());
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
  std::unique_ptr<Connection> take_connection();
  void keep(std::unique_ptr<Connection> connection);

  HTTP_Session_Options options_;
  std::mutex mutex_;
  std::list<std::unique_ptr<Connection>> kept_;  // as many as were in use at once, while they are not
};

std::unique_ptr<Connection> Curl_Session::take_connection() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (kept_.empty()) return Connection::open(options_);
  std::unique_ptr<Connection> connection = std::move(kept_.back());
  kept_.pop_back();
  return connection;
}

// Where there is no memory to keep it, it goes.
void Curl_Session::keep(std::unique_ptr<Connection> connection) try {
  const std::lock_guard<std::mutex> lock(mutex_);
  kept_.push_back(std::move(connection));
} catch (const std::bad_alloc&) {
}

HTTP_Outcome Curl_Session::send(const char* method, const HTTP_Request& request, const HTTP_Content* content,
                                HTTP_Response& response) try {
  std::unique_ptr<Connection> connection = take_connection();
  if (!connection) {
    log_debug("Failed to send %s to '%s': %s\n", method, options_.base_url.c_str(),
              curl_easy_strerror(CURLE_OUT_OF_MEMORY));
    return HTTP_Outcome::NOT_SENT;
  }

  Exchange exchange{response, options_.max_body};
  const CURLcode code = connection->send(method, request, content, exchange);
  const HTTP_Outcome outcome = outcome_of(code, exchange);
  if (outcome != HTTP_Outcome::COMPLETE) {
    const char* const text = code == CURLE_OK ? "the header is cut" : curl_easy_strerror(code);
    log_debug("Failed to send %s to '%s': %s\n", method, options_.base_url.c_str(),
              *connection->cause() != '\0' ? connection->cause() : text);
    return outcome;
  }
  keep(std::move(connection));
  return outcome;
} catch (...) {
  // Nothing of it has been sent: what happens later throws nothing.
  failed();
  return HTTP_Outcome::NOT_SENT;
}

bool is_visible(char c) {
  return static_cast<unsigned char>(c) > 0x20 && static_cast<unsigned char>(c) < 0x7F;
}

// Why a base address cannot serve; null if it can. A host or a port that is none shows when it is used.
const char* refusal(const std::string& base_url) {
  const std::size_t scheme = base_url.find("://");
  if (scheme == std::string::npos || !std::all_of(base_url.begin(), base_url.end(), is_visible))
    return "the base address is no URL";
  if (::strcasecmp(base_url.substr(0, scheme).c_str(), "http") != 0 &&
      ::strcasecmp(base_url.substr(0, scheme).c_str(), "https") != 0)
    return "the base address is neither http nor https";
  const std::string rest = base_url.substr(scheme + 3);
  if (rest.empty() || rest[0] == '/') return "the base address is no URL";
  if (rest.find_first_of("?#") != std::string::npos || rest.substr(0, rest.find('/')).find('@') != std::string::npos)
    return "the base address has a user, a query or a fragment";
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

HTTP_Session_var make_http_session(const HTTP_Session_Options& options) try {
  if (const char* const cause = refusal(options)) {
    log_debug("Failed to make an HTTP session: %s\n", cause);
    return nullptr;
  }
  return std::make_shared<Curl_Session>(options);
} catch (...) {
  failed();
  return nullptr;
}

}  // namespace platform
