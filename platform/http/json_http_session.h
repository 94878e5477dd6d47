#pragma once

#include "platform/export.h"
#include "platform/http/http_message.h"
#include "platform/http/http_session.h"
#include "platform/json/value.h"

namespace platform {

// Sends and reads JSON over an HTTP session, and tries again where nothing can have been done twice. A copy shares the
// HTTP session. One object is for one thread at a time; its copies may serve others.
//
// A call is true if a whole response has come, whatever its status; false if none has, with the cause at LM_DEBUG, or
// if there is no session. `response` then still holds what did come, or status 0. A reply that is not JSON leaves
// `output` null, and so does a failed call.
//
// What failed before a connection was made is tried again, and a GET also after that, unless it would fail alike: at
// most `retries` times, after pauses of half a second and then each time twice as long (at most 30 s), and no pause
// reaches beyond `retry_timeout_seconds` from the beginning of the call.
class GUSTAIKRUM_EXPORT JSON_HTTP_Session {
 public:
  // Shares the session; one that is empty makes every request fail.
  JSON_HTTP_Session(HTTP_Session_var session, int retries, int retry_timeout_seconds);

  // True if there is an HTTP session.
  explicit operator bool() const { return session_ != nullptr; }

  // Sends the request with this method. `output` is replaced by the reply's JSON.
  bool get(HTTP_Request& request, HTTP_Response& response, json::Value& output);

  // The same; `input` is the body, null for an empty one; `output` may be null.
  bool post(HTTP_Request& request, const json::Value* input, HTTP_Response& response, json::Value* output);
  bool put(HTTP_Request& request, const json::Value* input, HTTP_Response& response, json::Value* output);
  bool delete_(HTTP_Request& request, HTTP_Response& response, json::Value* output);

  // True sends bodies without a Content-Type, else as application/json.
  void skip_content_type(bool skip) { skip_content_type_ = skip; }
  // True sends bodies in chunks, else under their Content-Length.
  void streaming(bool stream) { streaming_ = stream; }

 private:
  bool exchange(const char* method, const HTTP_Request& request, const HTTP_Content* content, HTTP_Response& response,
                json::Value* output);
  bool send(const char* method, const HTTP_Request& request, const json::Value* input, HTTP_Response& response,
            json::Value* output);

  HTTP_Session_var session_;
  bool skip_content_type_;
  bool streaming_;
  int retries_;
  int retry_timeout_;  // seconds
};

}  // namespace platform
