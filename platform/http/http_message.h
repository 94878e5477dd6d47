#pragma once

#include <sys/uio.h>

#include <cstdint>
#include <string>

#include "platform/export.h"
#include "platform/http/http_headers.h"

namespace platform {

// What a request brings beside its method, address and body; the values are bits.
enum HTTP_Request_Flag {
  HTTP_REQUEST_ACCEPT_JSON = 1,  // asks for JSON in the reply
  HTTP_REQUEST_AUTHENTICATE = 2  // carries the session's user and password
};

// What a request asks for, below the base address of the session that sends it; the call that sends it gives the
// method and the body.
class GUSTAIKRUM_EXPORT HTTP_Request {
 public:
  // `flags` of HTTP_Request_Flag; for the rest see uri().
  HTTP_Request(int flags, const char* uri, bool encode);

  // Replaces the path, "/..."; `encode` percent-encodes it except for "/". Null means "/".
  void uri(const char* uri, bool encode);

  // Replaces the query text, without its question mark; null empties it. The buffer is that text itself.
  void query_string(const char* query);
  std::string& query_string_buffer() { return query_; }

  // Bits of HTTP_Request_Flag.
  int flags() const { return flags_; }

  // The path and, where there is one, "?" and the query. Bytes that have no place in a request line (blanks, control
  // characters, what is not ASCII, "#") are percent-encoded, so that no text can end the line or begin another.
  std::string target() const;

 private:
  int flags_;
  std::string uri_;
  std::string query_;
};

// A response: status, header fields and body. 0 is the status of a response that has not come.
class GUSTAIKRUM_EXPORT CGI_Response {
 public:
  // With status 0, no header and an empty body.
  explicit CGI_Response(unsigned major_version);
  virtual ~CGI_Response();

  // What the header tells of the body: its bytes, 0 where it does not tell, and its media type, empty where it does
  // not. The setters replace the header's line; a null type takes it away.
  virtual std::uint64_t content_length() const;
  virtual void content_length(std::uint64_t length);
  virtual std::string content_type() const;
  virtual void content_type(const char* type);

  // The body as pieces of memory, which last until it changes; to_iovec() fills at most `count` of them and returns
  // how many it has filled.
  virtual int iovec_count() const;
  virtual int to_iovec(iovec* pieces, int count) const;

  // The three digits of the status line, such as 200; 0 before a response has come.
  int status() const { return status_; }
  void status(int status) { status_ = status; }
  // Of the protocol: 1 for HTTP/1.1.
  unsigned major_version() const { return major_version_; }

  // The header's fields, and the body as it came; they last as long as the response.
  HTTP_Headers& headers() { return headers_; }
  const HTTP_Headers& headers() const { return headers_; }
  std::string& body() { return body_; }
  const std::string& body() const { return body_; }

 private:
  unsigned major_version_;
  int status_ = 0;
  HTTP_Headers headers_;
  std::string body_;
};

// A response over HTTP/1.
class GUSTAIKRUM_EXPORT HTTP_Base : public CGI_Response {
 public:
  // A response of HTTP/1.1 that has not come yet.
  HTTP_Base();
  ~HTTP_Base() override;

  // Whether the connection outlives the response: as its header says, or else from HTTP/1.1 on.
  virtual bool keep_alive() const;
  virtual void keep_alive(bool keep);

  // Whether the body comes in chunks, by the header's Transfer-Encoding; the setter adds that or takes it away.
  virtual bool chunked_transfer_encoding() const;
  virtual void chunked_transfer_encoding(bool chunked);

  // Of the protocol: 1 for HTTP/1.1.
  void minor_version(unsigned version) { minor_version_ = version; }

 private:
  unsigned minor_version_;
};

// What a request is answered with, over whatever connection.
class GUSTAIKRUM_EXPORT HTTP_Response : public HTTP_Base {
 public:
  // One that has not come yet. A value: copies share nothing.
  ~HTTP_Response() override;
  HTTP_Response() = default;
  HTTP_Response(const HTTP_Response&) = default;
  HTTP_Response(HTTP_Response&&) = default;
  HTTP_Response& operator=(const HTTP_Response&) = default;
  HTTP_Response& operator=(HTTP_Response&&) = default;
};

}  // namespace platform
