#include "platform/http/http_encoding.h"
#include "platform/http/http_session.h"
#include "platform/http/json_http_session.h"
#include "tests/support/scripted_server.h"
#include "tests/support/test.h"

namespace {

using namespace platform;
using platform::json::Value;
using namespace test;
using Then = test::Scripted_Answer::Then;

constexpr std::size_t MAX_BODY = 1000;

HTTP_Session_Options options_for(const std::string& url) {
  HTTP_Session_Options options;
  options.base_url = url;
  options.connect_timeout = 2;
  options.idle_timeout = 2;
  options.max_body = MAX_BODY;
  return options;
}

HTTP_Session_var session_for(const Scripted_Server& server) {
  return platform::make_http_session(options_for(server.url()));
}

HTTP_Outcome send(const HTTP_Session_var& session, const std::string& method, HTTP_Response& response) {
  const HTTP_Content content{"{}", nullptr, false};
  return session->send(method.c_str(), HTTP_Request(3, "/", false), method == "POST" ? &content : nullptr, response);
}

// A JSON session's answer to a request with every method that it has.
struct Answer {
  Answer(JSON_HTTP_Session session, const std::string& method, HTTP_Request request = HTTP_Request(3, "/", false)) {
    const Value input = platform::json::Object{{"k", "v"}};
    response.status(77);
    ok = method == "GET"      ? session.get(request, response, output)
         : method == "PUT"    ? session.put(request, &input, response, &output)
         : method == "DELETE" ? session.delete_(request, response, &output)
                              : session.post(request, &input, response, &output);
  }

  HTTP_Response response;
  Value output = "old";
  bool ok;
};

TEST(HttpQuery, parameters_follow_one_another) {
  std::string query = "first";
  platform::HTTP_Query_String_Builder(query, true)
      .add("", "no key", true, true)
      .add(nullptr, std::uint64_t{1}, true)
      .add("a b", "c d", false, false)
      .add("flag", nullptr, true, true)
      .add("key", "", true, true, "pre/")
      .add("most", UINT64_MAX, true)
      .add("least", INT64_MIN, true, "x.")
      .add("-_.~AZaz09", "+@[`{:", true, true);
  EXPECT_EQ(query,
            "first&a b=c "
            "d&flag&pre%2fkey=&most=18446744073709551615&x.least=-9223372036854775808&-_.~AZaz09=%2b%40%5b%60%7b%3a");
  std::string encoded;
  for (const int flags : {0, 1, 2, 3})
    platform::http_encode_string_i("a b/", flags, encoded);
  EXPECT_EQ(encoded, "a%20b/a+b/a%20b%2fa+b%2f");
  EXPECT_EQ(HTTP_Request(0, "x\x7f\xff#", false).target(), "/x%7f%ff%23");
}

TEST(HttpResponse, the_header_decides_on_the_connection_and_then_the_version) {
  const std::tuple<const char*, unsigned, bool> cases[] = {
      {nullptr, 1, true},      {nullptr, 0, false}, {"Keep-Alive", 0, true},        {"close", 1, false},
      {"x,\tClose", 1, false}, {"closed", 1, true}, {"keep-alive,close", 1, false}, {"x", 0, false}};
  for (const auto& [connection, minor_version, keep] : cases) {
    HTTP_Response response;
    response.minor_version(minor_version);
    response.headers().put(8, connection, true);
    EXPECT_EQ(response.keep_alive(), keep) << minor_version;

    response.keep_alive(!keep);
    EXPECT_EQ(response.headers().get(8, true), keep ? "close" : "Keep-Alive");
  }
}

TEST(HttpResponse, fields_and_body_are_given_as_they_were_put) {
  HTTP_Response response;
  iovec piece{};
  EXPECT_EQ(response.content_type() + std::to_string(response.content_length()), "0");
  EXPECT_EQ(response.iovec_count() + response.to_iovec(&piece, 1), 0);
  EXPECT_FALSE(response.chunked_transfer_encoding());

  response.content_length(UINT64_MAX);
  response.content_type("a/b");
  response.chunked_transfer_encoding(true);
  response.headers().put(8, "one", false);
  response.headers().put(8, "two", false);
  response.body() = "text";

  EXPECT_EQ(response.content_type() + std::to_string(response.content_length()), "a/b18446744073709551615");
  EXPECT_TRUE(response.chunked_transfer_encoding());
  EXPECT_EQ(response.headers().get(8, false).value() + response.headers().get(8, true).value(), "oneone, two");
  EXPECT_EQ(response.iovec_count() - response.to_iovec(&piece, 0), 1);
  EXPECT_EQ(response.to_iovec(&piece, 1), 1);
  EXPECT_EQ(std::string(static_cast<char*>(piece.iov_base), piece.iov_len), "text");
}

TEST(HttpSession, options_without_sense_make_no_session) {
  const auto refusal = [](const char* url, const char* user, int idle_timeout) {
    test::Log_Capture log;
    HTTP_Session_Options options = options_for(url);
    options.user = user;
    options.idle_timeout = idle_timeout;
    EXPECT_EQ(platform::make_http_session(options), nullptr);
    const std::vector<std::string> told = log.take_debug();
    return told.empty() ? "" : told[0];
  };
  const std::string failed = "Failed to make an HTTP session: ";
  EXPECT_EQ(refusal("http://a\r\nX: y/", "", 2), failed + "the base address is no URL\n");
  EXPECT_EQ(refusal("file:///etc/passwd", "", 2), failed + "the base address is neither http nor https\n");
  EXPECT_EQ(refusal("http://user@a", "", 2), failed + "the base address has a user, a query or a fragment\n");
  EXPECT_EQ(refusal("http://a/?q", "", 2), failed + "the base address has a user, a query or a fragment\n");
  EXPECT_EQ(refusal("http://a", "a:b", 2), failed + "the user name holds a colon\n");
  EXPECT_EQ(refusal("http://a", "", 0), failed + "a time limit is not positive\n");
}

// Only GET keeps a connection, and none goes through the proxy that the environment names, where nobody listens.
TEST(HttpSession, a_request_says_what_it_was_told_to_and_nothing_of_earlier_ones) {
  const std::tuple<const char*, int, bool, bool, std::size_t, const char*> cases[] = {
      {"GET", 3, false, false, 1, "Authorization: Basic dXNlcjpzZWNyZXQ=\r\nAccept: application/json\r\n\r\n"},
      {"PUT", 1, false, false, 2,
       "Content-Type: application/json\r\nAccept: application/json\r\nContent-Length: 9\r\n\r\n{\"k\":\"v\"}"},
      {"POST", 0, true, false, 3, "Content-Length: 9\r\n\r\n{\"k\":\"v\"}"},
      {"POST", 0, false, true, 4,
       "Content-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n9\r\n{\"k\":\"v\"}\r\n0\r\n\r\n"},
      {"DELETE", 2, false, false, 5, "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n\r\n"},
      {"GET", 0, false, false, 5, "\r\n"},
  };
  Scripted_Server server(
      {whole("{}", "200 OK", "Connection: x\r\nconnection:  y \r\nContent-TYPE: a/b; c\r\n", Then::KEEP)});
  HTTP_Session_Options options = options_for(server.url() + "/base//");
  options.user = "user";
  options.password = "secret";
  JSON_HTTP_Session session(platform::make_http_session(options), 0, 0);
  ASSERT_EQ(::setenv("http_proxy", "http://127.0.0.1:1", 1), 0);
  for (const auto& [method, flags, skip_type, streaming, connections, rest] : cases) {
    session.skip_content_type(skip_type);
    session.streaming(streaming);
    HTTP_Request request(flags, "/x", false);
    request.query_string("q=1");

    const Answer answer(session, method, request);

    ASSERT_TRUE(answer.ok);
    EXPECT_EQ(answer.output.type(), platform::json::obj_type);
    EXPECT_EQ(answer.response.headers().get(8, true), "x, y");
    EXPECT_EQ(answer.response.content_type(), "a/b; c");
    const std::string head = " /base/x?q=1 HTTP/1.1\r\nHost: " + server.url().substr(7) + "\r\n";
    EXPECT_EQ(server.requests().back(), method + head + rest);
    EXPECT_EQ(server.connections(), connections);
  }
  ::unsetenv("http_proxy");
}

// How a response goes wrong, and what is left of it.
TEST(HttpSession, a_response_that_does_not_come_whole_is_a_failure_within_the_time_limits) {
  const std::string header = "HTTP/1.1 200 OK\r\n";
  const std::string interim = "HTTP/1.1 102 Processing\r\n\r\n";
  std::string many_lines;
  for (int line = 0; line < 1000; ++line)
    many_lines += "X:\r\n";
  const std::tuple<Scripted_Answer, HTTP_Outcome, int> cases[] = {
      {whole(std::string(MAX_BODY, ' '), "599 Odd"), HTTP_Outcome::COMPLETE, 599},
      {{header + "\r\n{}", Then::CLOSE}, HTTP_Outcome::COMPLETE, 200},
      {{"HTTP/1.0 200 OK\r\n\r\n{}", Then::CLOSE}, HTTP_Outcome::COMPLETE, 200},
      {{interim + header + "Content-Length: 0\r\n\r\n", Then::CLOSE}, HTTP_Outcome::COMPLETE, 200},
      {{interim, Then::CLOSE}, HTTP_Outcome::INTERRUPTED, 102},
      {{"", Then::RESET}, HTTP_Outcome::INTERRUPTED, 0},
      {{"", Then::KEEP}, HTTP_Outcome::INTERRUPTED, 0},
      {{header + "Content-", Then::CLOSE}, HTTP_Outcome::INTERRUPTED, 200},
      {{header + "Content-Length: 10\r\n\r\n{}", Then::CLOSE}, HTTP_Outcome::INTERRUPTED, 200},
      {{header + "X: " + std::string(1000, 'x'), Then::DRIP}, HTTP_Outcome::INTERRUPTED, 200},
      {{"220 smtp ready\r\n", Then::CLOSE}, HTTP_Outcome::UNACCEPTABLE, 0},
      {whole(std::string(MAX_BODY + 1, ' ')), HTTP_Outcome::UNACCEPTABLE, 200},
      {{header + "\r\n", Then::FLOOD, std::string(500, ' ')}, HTTP_Outcome::UNACCEPTABLE, 200},
      {{header, Then::FLOOD, "X: y\r\n"}, HTTP_Outcome::UNACCEPTABLE, 200},
      {{header + "Content-Length: 2\r\nContent-Length: 2\r\n\r\n{}", Then::CLOSE}, HTTP_Outcome::COMPLETE, 200},
      {{header + "Content-Length: 2\r\nContent-Length: 1\r\n\r\n{}", Then::CLOSE}, HTTP_Outcome::UNACCEPTABLE, 200},
      {{header + "Content-Length: 2, 1\r\n\r\n{}", Then::CLOSE}, HTTP_Outcome::UNACCEPTABLE, 200},
      {{header + many_lines, Then::KEEP}, HTTP_Outcome::UNACCEPTABLE, 200},
      {{interim + header + "Content-", Then::CLOSE}, HTTP_Outcome::INTERRUPTED, 200},
  };
  for (const auto& [answer, outcome, status] : cases) {
    SCOPED_TRACE(answer.bytes + answer.more);
    test::Log_Capture log;
    Scripted_Server server({answer});
    HTTP_Response response;
    const auto start = std::chrono::steady_clock::now();

    EXPECT_EQ(send(session_for(server), "POST", response), outcome);

    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(response.status(), status);
    EXPECT_LE(response.body().size(), MAX_BODY);
    EXPECT_EQ(response.keep_alive(), answer.bytes.find("HTTP/1.0") != 0);
    EXPECT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(log.take_debug().size(), outcome == HTTP_Outcome::COMPLETE ? 0U : 1U);
  }
}

// The server takes the request on a connection that it kept, and drops it there.
TEST(HttpSession, only_a_get_is_sent_again_when_a_kept_connection_proves_dead) {
  for (const char* method : {"GET", "POST", "DELETE"}) {
    test::Log_Capture log;
    const bool again = std::string(method) == "GET";
    Scripted_Server server({whole("{}", "200 OK", "", Then::KEEP), {"", Then::CLOSE}, whole("{}")});
    const HTTP_Session_var session = session_for(server);
    HTTP_Response response;
    send(session, "GET", response);

    EXPECT_EQ(send(session, method, response), again ? HTTP_Outcome::COMPLETE : HTTP_Outcome::INTERRUPTED) << method;
    EXPECT_EQ(server.requests().size(), again ? 3U : 2U) << method;
  }
}

TEST(HttpSession, a_broken_pipe_that_waits_for_its_thread_goes_on_waiting) {
  sigset_t pipe, before;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, &pipe, &before), 0);
  ASSERT_EQ(::pthread_kill(::pthread_self(), SIGPIPE), 0);
  Scripted_Server server({whole("{}")});
  HTTP_Response response;

  EXPECT_EQ(send(session_for(server), "GET", response), HTTP_Outcome::COMPLETE);

  const timespec at_once{};
  EXPECT_EQ(::sigtimedwait(&pipe, nullptr, &at_once), SIGPIPE);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(JsonHttpSession, only_what_cannot_be_done_twice_is_tried_again) {
  const std::string cut = "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n[1";
  const std::tuple<const char*, Scripted_Answer, bool, std::size_t> cases[] = {
      {"GET", {cut, Then::RESET}, true, 2},
      {"GET", whole("busy", "503 Busy"), true, 1},
      {"GET", whole(std::string(MAX_BODY + 1, ' ')), false, 1},
      {"POST", {cut, Then::RESET}, false, 1},
      {"POST", whole("", "417 Expectation Failed"), true, 1},
      {"POST", whole("", "401 Who", "WWW-Authenticate: Digest realm=\"x\", nonce=\"y\"\r\n"), true, 1},
      {"POST", whole("", "307 Again", "Location: /again\r\n"), true, 1},
  };
  for (const auto& [method, first, ok, sent] : cases) {
    test::Log_Capture log;
    Scripted_Server server({first, whole("{}")});

    const Answer answer(JSON_HTTP_Session(session_for(server), 3, 60), method);

    EXPECT_EQ(answer.ok, ok) << method << first.bytes;
    EXPECT_EQ(server.requests().size(), sent) << method << first.bytes;
    EXPECT_EQ(answer.output.is_null(), sent == 1) << method << first.bytes;
  }
}

TEST(JsonHttpSession, a_server_that_is_not_there_is_tried_as_often_as_count_and_time_allow) {
  const std::string url = Scripted_Server({whole("")}).url();
  const std::tuple<int, int, std::size_t> cases[] = {{0, 60, 1}, {-1, 60, 1}, {2, 60, 3}, {9, 1, 2}, {9, 0, 1}};
  for (const auto& [retries, timeout, tries] : cases) {
    test::Log_Capture log;
    const Answer answer(JSON_HTTP_Session(platform::make_http_session(options_for(url)), retries, timeout), "POST");
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.response.status(), 0);
    EXPECT_EQ(log.take_debug().size(), tries) << retries << " " << timeout;
  }
  EXPECT_FALSE(Answer(JSON_HTTP_Session(nullptr, 5, 300), "GET").ok);
}

}  // namespace
