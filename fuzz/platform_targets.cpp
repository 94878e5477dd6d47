#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <boost/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/fuzz.h"
#include "platform/http/header_line.h"
#include "platform/http/http_encoding.h"
#include "platform/http/http_message.h"
#include "platform/json/text.h"
#include "platform/process/line_splitter.h"
#include "platform/process/process_options.h"

namespace {

using platform::json::JSON_Dump;
using platform::json::Value;

bool load(std::string_view text, Value& value) {
  return platform::json::loads_json(text.data(), text.size(), value, 1);
}

std::string dump(const Value& value) {
  return JSON_Dump(value, false).str();
}

void json(std::string_view input) {
  Value value;
  const bool taken = load(input, value);

  boost::system::error_code other_error;
  boost::json::parse_options options;
  options.max_depth = 64;
  const boost::json::value other = boost::json::parse({input.data(), input.size()}, other_error, {}, options);
  if (!taken) {
    const std::string shown = other_error ? "" : boost::json::serialize(other);
    const bool has_infinity = shown.find("Infinity") != std::string::npos || shown.find("1e99999") != std::string::npos;
    fuzz::expect(other_error || has_infinity, "what another reader takes is taken");
    return;
  }
  fuzz::expect(!other_error, "what another reader refuses is refused");

  Value again, pretty;
  fuzz::expect(load(dump(value), again) && dump(again) == dump(value), "what is written reads back");
  fuzz::expect(load(JSON_Dump(value, true).str(), pretty) && dump(pretty) == dump(value), "pretty or not");
  fuzz::expect(dump(Value(value)) == dump(value), "a copy is the same");
}

// Any text at all becomes a JSON text; one that was UTF-8 comes back as it was.
void json_string(std::string_view input) {
  Value value, again;
  fuzz::expect(load(dump(std::string(input)), value), "what is written is JSON");
  fuzz::expect(load(dump(value), again) && again.get_str() == value.get_str(), "valid text comes back");
}

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

using Lines = std::vector<std::string>;
constexpr char DROPPED[] = "\n";  // no line holds a newline

// All at once, without a thought of speed.
Lines obvious_lines(std::string_view text, std::size_t limit) {
  Lines lines;
  boost::split(lines, text, boost::is_any_of("\n"));
  if (lines.back().empty()) lines.pop_back();
  for (std::string& line : lines)
    line = line.size() > limit ? DROPPED : line;
  return lines;
}

struct Keeper : platform::Line_Splitter {
  using Line_Splitter::Line_Splitter;
  void take_line(const char* line, std::size_t length) override { found.emplace_back(line, length); }
  void drop_line() override { found.emplace_back(DROPPED); }
  Lines found;
};

// Input: the limit, a pattern of piece sizes, the text.
void lines(std::string_view input) {
  const std::size_t limit = fuzz::take_byte(input);
  const std::size_t first = fuzz::take_byte(input);
  const std::size_t second = fuzz::take_byte(input);

  Keeper splitter(limit);
  for (std::size_t at = 0, piece = 0; at < input.size(); ++piece) {
    const std::size_t size = std::min(1 + (piece % 2 == 0 ? first : second), input.size() - at);
    splitter.feed(input.data() + at, size);
    at += size;
  }
  splitter.finish();
  fuzz::expect(splitter.found == obvious_lines(input, limit), "pieces of any size give the same lines");
}

// A text between quotes, cut at NUL characters: what is put between quotes comes out as one argument.
void command_line(std::string_view input) {
  const std::string text(input.substr(0, input.find('\0')));
  platform::Process_Options options;
  const bool taken = options.command_line("/bin/tool \"%s\" %s", text.c_str(), text.c_str()) == 0;
  fuzz::expect(taken == options.fault().empty(), "a refusal leaves a fault");
  if (!taken) {
    fuzz::expect(options.command_line_argv()[0] == nullptr, "nothing refused can be run");
    return;
  }

  char* const* const arguments = options.command_line_argv();
  fuzz::expect(std::string("/bin/tool") == arguments[0], "the program is what it was");
  if (text.find('"') == std::string::npos) fuzz::expect(text == arguments[1], "quoted text is one argument");
}

const bool known = fuzz::add("json", json) && fuzz::add("json_string", json_string) &&
                   fuzz::add("encoding", encoding) && fuzz::add("header_lines", header_lines) &&
                   fuzz::add("lines", lines) && fuzz::add("command_line", command_line);

}  // namespace
