#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/export.h"
#include "platform/http/http_message.h"
#include "platform/text/secure_string.h"

namespace platform {

// Where a session's server is, who asks, what is trusted and how long is waited.
struct HTTP_Session_Options {
  std::string base_url;      // "https://host:port", with a path if all requests share one; no user, query or fragment
  std::string user;          // sent with the password by basic authentication; empty for none
  secure_string password;    // the HTTP library underneath keeps copies of its own while the session lives
  std::string ca_file;       // PEM certificates, then the only ones trusted; empty for those of the host
  bool verify_peer = true;   // false takes any server for the named one
  int connect_timeout = 30;  // seconds, name look-up and TLS included
  int idle_timeout = 60;     // seconds in which fewer than 100 bytes a second move
  std::size_t max_body = std::size_t{256} << 20;  // bytes of a response's body
};

// What became of a request.
enum class HTTP_Outcome {
  COMPLETE,      // a whole response has come, whatever its status
  NOT_SENT,      // no connection was made, so the server has seen nothing
  INTERRUPTED,   // the server may have acted on the request
  UNACCEPTABLE,  // what would fail again: an untrusted certificate, a response beyond a limit (of a header's 256 KiB
                 // and 1,000 lines, too) or with two different lengths, an unusable address
};

// A request's body.
struct HTTP_Content {
  std::string_view text;  // the caller's, until the call is over
  const char* type;       // null for none
  bool chunked;           // goes out as a chunk rather than under a Content-Length
};

// A server and the way to reach it. Threads may share one.
class GUSTAIKRUM_EXPORT HTTP_Session {
 public:
  virtual ~HTTP_Session();

  // Sends the request once and fills `response` with as much as comes, its status included. `content` is null for
  // none. A failure's cause is logged at LM_DEBUG.
  virtual HTTP_Outcome send(const char* method, const HTTP_Request& request, const HTTP_Content* content,
                            HTTP_Response& response) = 0;
};

// A session that is shared; empty for none.
using HTTP_Session_var = std::shared_ptr<HTTP_Session>;

// A session over HTTP/1.1 with or without TLS (1.2 at least); nothing is connected yet. The handle is empty, with the
// cause at LM_DEBUG, if the options make no sense.
//
// GET keeps its connection, as many as threads use at once, and is sent again by itself if a kept one proves dead;
// everything else goes over a connection of its own, so that the server never sees it twice. A redirect is a response
// like any other and is not followed. Proxies that the environment names are not used, so that credentials go to the
// named server only.
GUSTAIKRUM_EXPORT HTTP_Session_var make_http_session(const HTTP_Session_Options& options);

}  // namespace platform
