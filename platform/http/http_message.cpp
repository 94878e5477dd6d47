#include "platform/http/http_message.h"

#include <cstdlib>

#include "platform/http/http_encoding.h"
#include "platform/text/format.h"

namespace platform {
namespace {

void append_safely(const std::string& text, std::string& output) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7F && c != '#') {
      output += c;
    } else {
      output += snprintf_t<4>("%%%02x", static_cast<unsigned>(byte)).c_str();
    }
  }
}

}  // namespace

HTTP_Request::HTTP_Request(int flags, const char* path, bool encode) : flags_(flags) {
  uri(path, encode);
}

void HTTP_Request::uri(const char* uri, bool encode) {
  uri_.clear();
  if (uri == nullptr || *uri != '/') uri_ = "/";
  if (encode) {
    http_encode_string_i(uri, 0, uri_);
  } else if (uri != nullptr) {
    uri_ += uri;
  }
}

void HTTP_Request::query_string(const char* query) {
  query_ = query == nullptr ? "" : query;
}

std::string HTTP_Request::target() const {
  std::string target;
  append_safely(uri_, target);
  if (!query_.empty()) {
    target += '?';
    append_safely(query_, target);
  }
  return target;
}

CGI_Response::CGI_Response(unsigned major_version) : major_version_(major_version) {}
CGI_Response::~CGI_Response() = default;

std::uint64_t CGI_Response::content_length() const {
  return std::strtoull(headers_.get(HTTP_HEADER_CONTENT_LENGTH, true).value_or("0").c_str(), nullptr, 10);
}

void CGI_Response::content_length(std::uint64_t length) {
  const snprintf_t<32> text("%llu", static_cast<unsigned long long>(length));
  headers_.put(HTTP_HEADER_CONTENT_LENGTH, text.c_str(), true);
}

std::string CGI_Response::content_type() const {
  return headers_.get(HTTP_HEADER_CONTENT_TYPE, true).value_or("");
}

void CGI_Response::content_type(const char* type) {
  headers_.put(HTTP_HEADER_CONTENT_TYPE, type, true);
}

int CGI_Response::iovec_count() const {
  return body_.empty() ? 0 : 1;
}

int CGI_Response::to_iovec(iovec* pieces, int count) const {
  if (count < 1 || body_.empty()) return 0;
  // An iovec serves reading as well, hence its pointer to what may be changed.
  pieces[0] = {const_cast<char*>(body_.data()), body_.size()};
  return 1;
}

HTTP_Base::HTTP_Base() : CGI_Response(1), minor_version_(1) {}
HTTP_Base::~HTTP_Base() = default;

bool HTTP_Base::keep_alive() const {
  const std::string connection = headers().get(HTTP_HEADER_CONNECTION, true).value_or("");
  if (http_header_value_match(connection.c_str(), "close", ',')) return false;
  if (http_header_value_match(connection.c_str(), "Keep-Alive", ',')) return true;
  return minor_version_ >= 1;
}

void HTTP_Base::keep_alive(bool keep) {
  headers().put(HTTP_HEADER_CONNECTION, keep ? "Keep-Alive" : "close", true);
}

bool HTTP_Base::chunked_transfer_encoding() const {
  return headers().get(HTTP_HEADER_TRANSFER_ENCODING, true) == "chunked";
}

void HTTP_Base::chunked_transfer_encoding(bool chunked) {
  headers().put(HTTP_HEADER_TRANSFER_ENCODING, chunked ? "chunked" : nullptr, true);
}

HTTP_Response::~HTTP_Response() = default;

}  // namespace platform
