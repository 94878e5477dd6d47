#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/fuzz.h"
#include "platform/http/header_line.h"
#include "platform/http/http_encoding.h"
#include "platform/http/http_message.h"

namespace {

// As a server decodes a query.
std::string decode(const std::string& text, bool plus_is_space) {
  std::string decoded;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '%') {
      decoded += static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16));
      at += 2;
    } else {
      decoded += text[at] == '+' && plus_is_space ? ' ' : text[at];
    }
  }
  return decoded;
}

bool fits_request_line(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7F && c != '#'; });
}

// Input: the flags, a text that ends at a NUL.
void encoding(std::string_view input) {
  const int flags = fuzz::take_byte(input) % 4;
  const std::string text(input.substr(0, input.find('\0')));
  std::string encoded;
  platform::http_encode_string_i(text.c_str(), flags, encoded);
  fuzz::expect(decode(encoded, (flags & platform::HTTP_ENCODE_SPACE_AS_PLUS) != 0) == text, "decoded it is the same");
  fuzz::expect(fits_request_line(encoded), "it fits into a request line");

  std::string query;
  platform::HTTP_Query_String_Builder(query, false).add("key", text.c_str(), true, true).add("n", UINT64_MAX, true);
  const std::size_t end = query.find('&');
  fuzz::expect(query.substr(0, 4) == "key=" && decode(query.substr(4, end - 4), true) == text, "so is a parameter");
  fuzz::expect(query.substr(end) == "&n=18446744073709551615", "one parameter does not run into the next");

  platform::HTTP_Request request(0, text.c_str(), flags % 2 == 0);
  request.query_string(text.c_str());
  fuzz::expect(fits_request_line(request.target()) && request.target()[0] == '/', "no text breaks the request line");
}

// Each line of the input is a line of a response's header.
void header_lines(std::string_view input) {
  platform::HTTP_Headers headers;
  std::vector<std::string> lines, wanted;
  boost::split(lines, input, boost::is_any_of("\n"));
  for (const std::string& line : lines) {
    platform::add_header_line(line, headers);
    if (!boost::istarts_with(line, "Connection:")) continue;
    std::string value = line.substr(std::string("Connection:").size());
    boost::trim_left_if(value, boost::is_any_of(" \t"));
    boost::trim_right_if(value, boost::is_any_of(" \t\r\n"));
    wanted.emplace_back(value.c_str());
  }
  const std::optional<std::string> kept = headers.get(platform::HTTP_HEADER_CONNECTION, true);
  fuzz::expect(kept.value_or("") == boost::join(wanted, ", "), "what stands behind a name is kept");
}

const bool known = fuzz::add("encoding", encoding) && fuzz::add("header_lines", header_lines);

}  // namespace
