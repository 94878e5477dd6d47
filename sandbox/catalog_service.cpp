#include "sandbox/catalog_service.h"

#include <httplib.h>

#include <optional>
#include <stdexcept>
#include <utility>

#include "platform/json/object.h"
#include "platform/json/text.h"
#include "platform/text/natoi.h"

namespace sandbox {
namespace {

using platform::json::Object;
using platform::json::Value;

constexpr const char* JSON_TYPE = "application/json";

void reply(httplib::Response& response, int status, const Value& value) {
  response.status = status;
  response.set_content(platform::json::JSON_Dump(value, false).str(), JSON_TYPE);
}

void reply_message(httplib::Response& response, int status, const char* message) {
  reply(response, status, Object{{"message", message}});
}

void reply_whether(httplib::Response& response, bool found) {
  reply_message(response, found ? 200 : 404, found ? "done" : "not found");
}

void reply_job(httplib::Response& response, const std::optional<Object>& job) {
  job ? reply(response, 200, *job) : reply_message(response, 404, "no such job");
}

// The parameters of these names that the request has.
Catalog_Store::Filter filter_of(const httplib::Request& request, std::initializer_list<const char*> names) {
  Catalog_Store::Filter filter;
  for (const char* name : names) {
    if (request.has_param(name)) filter.emplace_back(name, request.get_param_value(name));
  }
  return filter;
}

std::int64_t number_of(const httplib::Request& request, const char* name, std::int64_t otherwise) {
  return request.has_param(name) ? platform::natoi<std::int64_t>(request.get_param_value(name).c_str()) : otherwise;
}

std::unique_ptr<httplib::Server> make_server(const Catalog_Service_Options& options) {
  if (options.certificate.empty()) return std::make_unique<httplib::Server>();
  return std::make_unique<httplib::SSLServer>(options.certificate.c_str(), options.key.c_str());
}

}  // namespace

Catalog_Service::Catalog_Service(const Catalog_Service_Options& options)
    : options_(options), store_(options.database), server_(make_server(options)) {
  const auto handler = [this](const httplib::Request& request, httplib::Response& response) {
    answer(request, response);
  };
  server_->Get(".*", handler).Post(".*", handler).Put(".*", handler).Delete(".*", handler);
  server_->set_keep_alive_timeout(1);
  server_->set_keep_alive_max_count(1000);
  // A header and its body are two writes: the second would wait for the client's delayed acknowledgement.
  server_->set_tcp_nodelay(true);

  if (options.port == 0) {
    port_ = server_->bind_to_any_port("127.0.0.1");
  } else if (server_->bind_to_port("127.0.0.1", options.port)) {
    port_ = options.port;
  }
  if (!server_->is_valid() || port_ <= 0) throw std::runtime_error("the catalog service cannot be started");

  thread_ = std::thread([this] { server_->listen_after_bind(); });
  while (!server_->is_running())
    std::this_thread::yield();
}

Catalog_Service::~Catalog_Service() {
  server_->stop();
  thread_.join();
}

std::string Catalog_Service::base_url() const {
  return (options_.certificate.empty() ? "http://127.0.0.1:" : "https://127.0.0.1:") + std::to_string(port_);
}

void Catalog_Service::fail_next(int status) {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_.push_back(status);
}

std::vector<std::string> Catalog_Service::take_requests() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(requests_, {});
}

void Catalog_Service::answer(const httplib::Request& request, httplib::Response& response) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    requests_.push_back(request.method + " " + request.target + " " + request.body);
    if (!faults_.empty()) {
      response.status = faults_.front();
      faults_.pop_front();
      return response.set_content("{}", JSON_TYPE);
    }
  }

  const auto credentials = httplib::make_basic_authentication_header(options_.user, options_.password);
  if (!options_.user.empty() && request.get_header_value("Authorization") != credentials.second) {
    response.set_header("WWW-Authenticate", "Basic realm=\"catalog\"");
    return reply_message(response, 401, "who are you?");
  }

  try {
    if (request.path == "/vx/r/hana/backint/job") return answer_job(request, response);
    if (request.path == "/vx/r/hana/backint/file") return answer_file(request, response);
    reply_message(response, 404, "no such resource");
  } catch (const std::exception& error) {
    reply_message(response, 400, error.what());
  }
}

void Catalog_Service::answer_job(const httplib::Request& request, httplib::Response& response) {
  if (request.method == "DELETE")
    return reply_whether(response, store_.remove_job(request.get_param_value("job_uuid")));
  if (request.method == "GET") {
    const Catalog_Store::Filter filter = filter_of(request, {"job_uuid", "landscape_id", "database_backup_id"});
    return reply_job(response, filter.empty() ? std::nullopt : store_.find_job(filter));
  }

  Value body;
  platform::json::loads_json(request.body.data(), request.body.size(), body, 0);
  const Object& job = body.get_obj();
  if (request.method == "PUT") return reply_whether(response, store_.update_job(job));

  const auto check = job.find("check_exist");
  const bool may_exist = check != job.end() && check->second.get_bool();
  if (!store_.add_job(job) && !may_exist) return reply_message(response, 409, "the job exists");
  // Another client may have removed it meanwhile.
  reply_job(response, store_.find_job({{"job_uuid", platform::json::object_get_str_or_throw(job, "uuid")}}));
}

void Catalog_Service::answer_file(const httplib::Request& request, httplib::Response& response) {
  if (request.method == "DELETE")
    return reply_whether(response, store_.remove_file(request.get_param_value("extern_backup_id")));
  if (request.method == "GET") {
    const Catalog_Store::Filter filter =
        filter_of(request, {"extern_backup_id", "uuid", "landscape_id", "database", "filename"});
    return reply(
        response, 200,
        store_.list_files(filter, number_of(request, "limit", DEFAULT_LIMIT), number_of(request, "offset", 0)));
  }
  if (request.method != "POST") return reply_message(response, 405, "files are added and removed only");

  Value body;
  platform::json::loads_json(request.body.data(), request.body.size(), body, 0);
  reply_whether(response, store_.add_files(platform::json::object_get_str_or_throw(body.get_obj(), "job_uuid"),
                                           platform::json::object_get_array_or_throw(body.get_obj(), "files")));
}

}  // namespace sandbox
