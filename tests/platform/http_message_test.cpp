#include "platform/http/http_message.h"

#include <gtest/gtest.h>

#include "platform/http/http_encoding.h"

namespace {

using platform::http_encode_string_i;
using platform::http_header_value_match;
using platform::HTTP_Headers;
using platform::HTTP_Query_String_Builder;
using platform::HTTP_Request;
using platform::HTTP_Response;

TEST(HttpEncoding, every_byte_but_the_unreserved_is_escaped) {
  const struct {
    const char* text;
    int flags;
    const char* encoded;
  } cases[] = {
      {"AZaz09-_.~", 3, "AZaz09-_.~"},
      {"a b/c", 3, "a+b%2fc"},
      {"a b/c", 2, "a%20b%2fc"},
      {"a b/c", 1, "a+b/c"},
      {"a b/c", 0, "a%20b/c"},
      {"\r\n\t\x01\x7f", 3, "%0d%0a%09%01%7f"},
      {"%+&=?#@:", 3, "%25%2b%26%3d%3f%23%40%3a"},
      {"\xc3\xa4\xff", 3, "%c3%a4%ff"},
      {"", 3, ""},
      {nullptr, 3, ""},
  };
  for (const auto& c : cases) {
    std::string output = "kept ";
    http_encode_string_i(c.text, c.flags, output);
    EXPECT_EQ(output, std::string("kept ") + c.encoded);
  }
}

TEST(HttpEncoding, parameters_follow_one_another) {
  std::string query;
  HTTP_Query_String_Builder(query, false)
      .add("", "no key", true, true)
      .add(nullptr, std::uint64_t{1}, true)
      .add("a b", "c d", true, true)
      .add("a b", "c d", false, false)
      .add("flag", nullptr, true, true)
      .add("empty", "", true, true)
      .add("key", "value", true, true, "pre/")
      .add("most", UINT64_MAX, true)
      .add("least", INT64_MIN, true, "x.");
  EXPECT_EQ(query,
            "a+b=c+d&a b=c d&flag&empty=&pre%2fkey=value&most=18446744073709551615&x.least=-9223372036854775808");

  HTTP_Query_String_Builder(query = "first", true).add("k", "v", true, true);
  EXPECT_EQ(query, "first&k=v");
}

TEST(HttpHeaders, an_element_of_a_list_is_found_whatever_its_case) {
  const struct {
    const char* value;
    bool found;
  } cases[] = {{"close", true},    {"Upgrade, \tCLOSE ", true}, {"a,close,b", true}, {"closed", false},
               {"a;close", false}, {"a close", false},          {"", false},         {nullptr, false}};
  for (const auto& c : cases)
    EXPECT_EQ(http_header_value_match(c.value, "close", ','), c.found) << (c.value == nullptr ? "null" : c.value);
}

TEST(HttpHeaders, lines_of_a_field_are_joined_until_they_are_replaced) {
  HTTP_Headers headers;
  EXPECT_EQ(headers.get(8, true), std::nullopt);
  headers.put(8, "a", false);
  headers.put(8, "b", false);
  EXPECT_EQ(headers.get(8, true), "a, b");
  EXPECT_EQ(headers.get(8, false), "a");
  headers.put(8, "c", true);
  EXPECT_EQ(headers.get(8, true), "c");
  headers.put(8, nullptr, true);
  EXPECT_EQ(headers.get(8, true), std::nullopt);
}

TEST(HttpResponse, what_it_tells_stands_in_its_header) {
  HTTP_Response response;
  EXPECT_EQ(response.status(), 0);
  EXPECT_EQ(response.content_length(), 0U);
  EXPECT_EQ(response.content_type(), "");
  EXPECT_TRUE(response.keep_alive());
  EXPECT_FALSE(response.chunked_transfer_encoding());

  response.content_length(UINT64_MAX);
  response.content_type("text/plain");
  response.chunked_transfer_encoding(true);
  EXPECT_EQ(response.headers().get(12, true), "18446744073709551615");
  EXPECT_EQ(response.headers().get(16, true), "text/plain");
  EXPECT_EQ(response.headers().get(40, true), "chunked");
  EXPECT_EQ(response.content_length(), UINT64_MAX);
  EXPECT_EQ(response.content_type(), "text/plain");
  EXPECT_TRUE(response.chunked_transfer_encoding());

  response.chunked_transfer_encoding(false);
  EXPECT_EQ(response.headers().get(40, true), std::nullopt);
  response.headers().put(40, "gzip, chunked", true);
  EXPECT_FALSE(response.chunked_transfer_encoding());
}

TEST(HttpResponse, the_header_decides_on_the_connection_and_then_the_version) {
  const struct {
    const char* connection;
    unsigned minor_version;
    bool keep;
  } cases[] = {{nullptr, 1, true},     {nullptr, 0, false}, {"keep-alive", 0, true}, {"close", 1, false},
               {"x, Close", 1, false}, {"x", 1, true},      {"x", 0, false},         {"keep-alive, close", 1, false}};
  for (const auto& c : cases) {
    HTTP_Response response;
    response.minor_version(c.minor_version);
    response.headers().put(8, c.connection, true);
    EXPECT_EQ(response.keep_alive(), c.keep) << c.minor_version;
  }

  HTTP_Response response;
  response.keep_alive(false);
  EXPECT_EQ(response.headers().get(8, true), "close");
  response.keep_alive(true);
  EXPECT_EQ(response.headers().get(8, true), "Keep-Alive");
}

TEST(HttpResponse, its_body_is_given_out_as_memory) {
  HTTP_Response response;
  iovec pieces[2];
  EXPECT_EQ(response.iovec_count(), 0);
  EXPECT_EQ(response.to_iovec(pieces, 2), 0);

  response.body() = "text";
  EXPECT_EQ(response.iovec_count(), 1);
  EXPECT_EQ(response.to_iovec(pieces, 0), 0);
  ASSERT_EQ(response.to_iovec(pieces, 2), 1);
  EXPECT_EQ(std::string(static_cast<char*>(pieces[0].iov_base), pieces[0].iov_len), "text");
}

TEST(HttpRequest, no_text_can_break_out_of_the_request_line) {
  const struct {
    const char* uri;
    bool encode;
    const char* query;
    const char* target;
  } cases[] = {
      {"/a/b", false, nullptr, "/a/b"},
      {"/a b/%41", true, "", "/a%20b/%2541"},
      {"/a b/%41", false, "", "/a%20b/%41"},
      {"@evil.example/x", false, nullptr, "/@evil.example/x"},
      {nullptr, false, nullptr, "/"},
      {"/a", false, "k=v&l=%2f+", "/a?k=v&l=%2f+"},
      {"/a", false, "k=v HTTP/1.1\r\nHost: x\r\n\r\nGET /b", "/a?k=v%20HTTP/1.1%0d%0aHost:%20x%0d%0a%0d%0aGET%20/b"},
      {"/a\r\nX: y", false, "#\x7f\xff", "/a%0d%0aX:%20y?%23%7f%ff"},
  };
  for (const auto& c : cases) {
    HTTP_Request request(3, "/old", false);
    request.uri(c.uri, c.encode);
    request.query_string("old");
    request.query_string(c.query);
    EXPECT_EQ(request.target(), c.target);
  }

  HTTP_Request request(2, "/a", false);
  request.query_string_buffer() = std::string("\0b", 2);
  EXPECT_EQ(request.target(), "/a?%00b");
}

}  // namespace
