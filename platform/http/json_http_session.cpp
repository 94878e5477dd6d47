#include "platform/http/json_http_session.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

#include "platform/json/text.h"
#include "platform/log/failed.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds FIRST_PAUSE(500);
constexpr std::chrono::milliseconds LONGEST_PAUSE(30000);

bool may_try_again(const char* method, HTTP_Outcome outcome) {
  return outcome == HTTP_Outcome::NOT_SENT || (outcome == HTTP_Outcome::INTERRUPTED && std::strcmp(method, "GET") == 0);
}

}  // namespace

JSON_HTTP_Session::JSON_HTTP_Session(HTTP_Session_var session, int retries, int retry_timeout_seconds)
    : session_(std::move(session)),
      skip_content_type_(false),
      streaming_(false),
      retries_(retries),
      retry_timeout_(retry_timeout_seconds) {}

bool JSON_HTTP_Session::get(HTTP_Request& request, HTTP_Response& response, json::Value& output) {
  return exchange("GET", request, nullptr, response, &output);
}

bool JSON_HTTP_Session::post(HTTP_Request& request, const json::Value* input, HTTP_Response& response,
                             json::Value* output) {
  return send("POST", request, input, response, output);
}

bool JSON_HTTP_Session::put(HTTP_Request& request, const json::Value* input, HTTP_Response& response,
                            json::Value* output) {
  return send("PUT", request, input, response, output);
}

bool JSON_HTTP_Session::delete_(HTTP_Request& request, HTTP_Response& response, json::Value* output) {
  return exchange("DELETE", request, nullptr, response, output);
}

bool JSON_HTTP_Session::send(const char* method, const HTTP_Request& request, const json::Value* input,
                             HTTP_Response& response, json::Value* output) try {
  const std::string text = input == nullptr ? std::string() : json::JSON_Dump(*input, false).str();
  const HTTP_Content content{text, skip_content_type_ ? nullptr : "application/json", streaming_};
  return exchange(method, request, &content, response, output);
} catch (...) {
  return failed();
}

bool JSON_HTTP_Session::exchange(const char* method, const HTTP_Request& request, const HTTP_Content* content,
                                 HTTP_Response& response, json::Value* output) try {
  if (output != nullptr) *output = json::Value();
  response = HTTP_Response();
  if (!session_) return false;

  const auto deadline = Clock::now() + std::chrono::seconds(retry_timeout_);
  HTTP_Outcome outcome = session_->send(method, request, content, response);
  auto pause = FIRST_PAUSE;
  for (int left = retries_; left > 0 && may_try_again(method, outcome) && Clock::now() + pause <= deadline; --left) {
    std::this_thread::sleep_for(pause);
    pause = std::min(2 * pause, LONGEST_PAUSE);
    response = HTTP_Response();
    outcome = session_->send(method, request, content, response);
  }

  if (outcome != HTTP_Outcome::COMPLETE) return false;
  if (output != nullptr) json::loads_json(response.body().data(), response.body().size(), *output, 0);
  return true;
} catch (...) {
  return failed();
}

}  // namespace platform
