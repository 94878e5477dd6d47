#include "hana/common/backint_catalog_helper.h"

#include <exception>
#include <string>

#include "hana/backint_catalog/detail/record_fields.h"
#include "hana/common/detail/is_given.h"
#include "platform/http/http_encoding.h"
#include "platform/http/http_message.h"
#include "platform/json/object.h"
#include "platform/json/text.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"

namespace sap_hana {
namespace {

using platform::HTTP_Query_String_Builder;
using platform::HTTP_Request;
using platform::HTTP_Response;
using platform::JSON_HTTP_Session;
using platform::json::JSON_Dump;
using platform::json::Object;
using platform::json::Value;

constexpr const char* JOB_PATH = "/vx/r/hana/backint/job";
constexpr const char* FILE_PATH = "/vx/r/hana/backint/file";
constexpr int STATUS_OK = 200;
constexpr bool ENCODE = true;

constexpr const char* JOB_UUID_MISSING = "Unexpected error in %N:%l, job_uuid is NULL or \"\":\n%?\n";
constexpr const char* LANDSCAPE_ID_MISSING = "Unexpected error in %N:%l, landscape_id is NULL or \"\":\n%?\n";
constexpr const char* EBID_MISSING = "Unexpected error in %N:%l, ebid is NULL or \"\":\n%?\n";
constexpr const char* QUERY_STRING_MISSING = "Unexpected error in %N:%l, query_string is NULL or \"\":\n%?\n";

bool is_empty(const char* text) {
  return text == nullptr || *text == '\0';
}

// True if there is a session; else says where it is missing. An emergency, but with the status of an ordinary failure.
bool has_session(const JSON_HTTP_Session& session, int line = __builtin_LINE()) {
  if (session) return true;
  platform::log_record({"Unexpected error in %s:%d, session_is NULL!\n", __FILE__, line}, LM_EMERGENCY, 0, __FILE__,
                       line);
  return false;
}

HTTP_Request content_request(const char* path) {
  HTTP_Request request(platform::HTTP_REQUEST_ACCEPT_JSON | platform::HTTP_REQUEST_AUTHENTICATE, "/", false);
  request.uri(path, false);
  return request;
}

// A request to remove what `key` with the value `id` names.
HTTP_Request removal_request(const char* path, const char* key, const char* id) {
  HTTP_Request request(platform::HTTP_REQUEST_AUTHENTICATE, path, false);
  std::string& query = request.query_string_buffer();
  HTTP_Query_String_Builder(query, !query.empty()).add(key, id, ENCODE, ENCODE);
  return request;
}

std::string query_of(const char* key, const char* value) {
  std::string query;
  HTTP_Query_String_Builder(query, false).add(key, value, ENCODE, ENCODE);
  return query;
}

bool is_success(bool replied, const HTTP_Response& response) {
  return replied && response.status() == STATUS_OK;
}

// Posts the job with the flag that makes the catalog look for it first. Success also needs an object for a reply where
// one is asked for.
bool post_job(JSON_HTTP_Session& session, const Backint_Backup_Job_Info& info, bool check_exist, Value* output) {
  HTTP_Request request = content_request(JOB_PATH);
  HTTP_Response response;
  Value input = Object();
  write_fields(info, input.get_obj());
  platform::json::insert(input.get_obj())("check_exist", check_exist);

  const bool replied = session.post(request, &input, response, output);
  const bool wrong_reply = output != nullptr && output->type() != platform::json::obj_type;
  if (!is_success(replied, response) || wrong_reply) {
    platform::log_error("Failed to add backint job: Failed to post %s, status %d\n", JOB_PATH, response.status());
    return false;
  }
  return true;
}

}  // namespace

Backint_Catalog_helper::Backint_Catalog_helper() : session_(platform::HTTP_Session_var(), 5, 300) {}
Backint_Catalog_helper::~Backint_Catalog_helper() = default;

bool Backint_Catalog_helper::init(JSON_HTTP_Session& session) try {
  if (!session) return false;
  session_ = session;
  return true;
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::add_job(const Backint_Backup_Job_Info& info) try {
  if (!has_session(session_)) return false;
  return post_job(session_, info, false, nullptr);
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::check_and_add_job(Backint_Backup_Job_Info& info) try {
  if (!has_session(session_)) return false;
  Value output;
  if (!post_job(session_, info, true, &output)) return false;
  read_fields(output.get_obj(), info);
  return true;
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::get_job(const char* job_uuid, Backint_Backup_Job_Info& info) try {
  if (!is_given(job_uuid, JOB_UUID_MISSING)) return false;
  return get_job_req(query_of("job_uuid", job_uuid).c_str(), info);
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::get_job(const char* landscape_id, std::uint64_t database_backup_id,
                                     Backint_Backup_Job_Info& info) try {
  if (!is_given(landscape_id, LANDSCAPE_ID_MISSING)) return false;
  std::string query;
  HTTP_Query_String_Builder(query, false)
      .add("landscape_id", landscape_id, ENCODE, ENCODE)
      .add("database_backup_id", database_backup_id, ENCODE);
  return get_job_req(query.c_str(), info);
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::get_job_req(const char* query_string, Backint_Backup_Job_Info& info) try {
  if (!has_session(session_)) return false;

  HTTP_Request request = content_request(JOB_PATH);
  request.query_string(query_string);
  HTTP_Response response;
  Value output;
  if (!is_success(session_.get(request, response, output), response)) {
    platform::log_error("Failed to get backint job: Failed to get %s, status %d, message = '%s'\n", JOB_PATH,
                        response.status(), JSON_Dump(output, false).c_str());
    return false;
  }
  if (output.type() != platform::json::obj_type) {
    platform::log_error("Failed to get backint job: return value is not object\n");
    return false;
  }

  read_fields(output.get_obj(), info);
  return true;
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::update_job_database_backup_id(const char* job_uuid, std::uint64_t database_backup_id) try {
  if (!is_given(job_uuid, JOB_UUID_MISSING)) return false;
  // Deliberate: the request says nothing but these two, in the form of a whole job.
  Backint_Backup_Job_Info info;
  info.uuid = job_uuid;
  info.database_backup_id = database_backup_id;
  return update_job_req(info);
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::update_job_req(const Backint_Backup_Job_Info& info) try {
  if (!has_session(session_)) return false;

  HTTP_Request request = content_request(JOB_PATH);
  HTTP_Response response;
  Value input = Object();
  write_fields(info, input.get_obj());
  Value output;
  if (!is_success(session_.put(request, &input, response, &output), response)) {
    platform::log_error("Failed to update backint job: Failed to put %s, status %d, message = '%s'\n", JOB_PATH,
                        response.status(), JSON_Dump(output, false).c_str());
    return false;
  }
  return true;
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::remove_job(const char* job_uuid) try {
  if (!has_session(session_)) return false;
  if (!is_given(job_uuid, JOB_UUID_MISSING)) return false;

  HTTP_Request request = removal_request(JOB_PATH, "job_uuid", job_uuid);
  HTTP_Response response;
  if (!is_success(session_.delete_(request, response, nullptr), response)) {
    // Deliberate: no line break.
    platform::log_error("Failed to remove backint backup job");
    return false;
  }
  return true;
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::add_file(const char* job_uuid, const Backup_File_Info& file) try {
  return add_files(job_uuid, Backup_Files_Info(1, file));
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::add_files(const char* job_uuid, const Backup_Files_Info& files) try {
  if (!has_session(session_)) return false;
  if (!is_given(job_uuid, JOB_UUID_MISSING)) return false;
  if (files.empty()) {
    platform::log_error("Failed to add files: input files is empty\n");
    return false;
  }

  platform::json::Array rows;
  for (const Backup_File_Info& file : files) {
    Object row;
    write_fields(file, row);
    rows.emplace_back(std::move(row));
  }
  Value input = Object();
  platform::json::insert(input.get_obj())("job_uuid", job_uuid)("files", std::move(rows));

  HTTP_Request request = content_request(FILE_PATH);
  HTTP_Response response;
  if (!is_success(session_.post(request, &input, response, nullptr), response)) {
    platform::log_error("Failed to add backint file: Failed to post %s, status %d\n", FILE_PATH, response.status());
    return false;
  }
  return true;
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::get_files(const char* landscape_id, const char* database, const char* filename,
                                       std::int64_t& total, Backup_Files_Info& files, std::int64_t limit,
                                       std::int64_t offset) try {
  std::string query;
  HTTP_Query_String_Builder builder(query, false);
  builder.add("limit", limit, ENCODE).add("offset", offset, ENCODE);
  if (!is_empty(landscape_id)) builder.add("landscape_id", landscape_id, ENCODE, ENCODE);
  if (!is_empty(database)) builder.add("database", database, ENCODE, ENCODE);
  if (!is_empty(filename)) builder.add("filename", filename, ENCODE, ENCODE);
  return get_file_req(query.c_str(), total, files);
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::get_job_files(const char* job_uuid, Backup_Files_Info& files) try {
  if (!is_given(job_uuid, JOB_UUID_MISSING)) return false;
  // Deliberate: for files the job's key is "uuid".
  std::int64_t total = 0;
  return get_file_req(query_of("uuid", job_uuid).c_str(), total, files) && !files.empty();
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::get_file_by_ebid(const char* ebid, Backup_File_Info& file) try {
  if (!is_given(ebid, EBID_MISSING)) return false;
  std::int64_t total = 0;
  Backup_Files_Info files;
  if (!get_file_req(query_of("extern_backup_id", ebid).c_str(), total, files) || files.empty()) return false;

  file = files.back();
  return true;
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::get_file_req(const char* query_string, std::int64_t& total, Backup_Files_Info& files) try {
  if (!has_session(session_)) return false;
  if (!is_given(query_string, QUERY_STRING_MISSING)) return false;

  HTTP_Request request = content_request(FILE_PATH);
  request.query_string(query_string);
  HTTP_Response response;
  Value output;
  if (!is_success(session_.get(request, response, output), response)) {
    platform::log_error("Failed to get backint backup files: Failed to get %s, status %d, message = '%s'\n", FILE_PATH,
                        response.status(), JSON_Dump(output, false).c_str());
    return false;
  }

  try {
    const Object& reply = output.get_obj();
    const platform::json::Array& rows = platform::json::object_get_array_or_throw(reply, "rows");
    total = platform::json::object_get_int64_or_throw(reply, "total");
    read_records(rows, files);
    return true;
  } catch (const std::exception& error) {
    platform::log_error("Failed to get backint backup file: %s\n", error.what());
    return false;
  }
} catch (...) {
  return platform::failed();
}

bool Backint_Catalog_helper::remove_file(const char* ebid) try {
  if (!has_session(session_)) return false;
  if (!is_given(ebid, EBID_MISSING)) return false;

  HTTP_Request request = removal_request(FILE_PATH, "extern_backup_id", ebid);
  HTTP_Response response;
  if (!is_success(session_.delete_(request, response, nullptr), response)) {
    platform::log_error("Failed to remove backint backup file\n");
    return false;
  }
  return true;
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
