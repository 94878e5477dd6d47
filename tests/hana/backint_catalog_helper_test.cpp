#include "hana/common/backint_catalog_helper.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <regex>

#include "platform/json/object.h"
#include "platform/json/text.h"
#include "sandbox/catalog_service.h"
#include "sandbox/certificate.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_server.h"
#include "tests/support/temporary_directory.h"

namespace {

using platform::HTTP_Session_Options;
using platform::JSON_HTTP_Session;
using platform::json::JSON_Dump;
using platform::json::Object;
using platform::json::Value;
using sandbox::Catalog_Fault;
using sandbox::Catalog_Request;
using sandbox::Catalog_Service;
using sap_hana::Backint_Backup_Job_Info;
using sap_hana::Backint_Catalog_helper;
using sap_hana::Backup_File_Info;
using sap_hana::Backup_Files_Info;
using test::Scripted_Answer;
using test::Scripted_Server;
using test::whole;

HTTP_Session_Options options_for(const std::string& url) {
  HTTP_Session_Options options;
  options.base_url = url;
  options.user = "backint";
  options.password = "geheim";
  options.connect_timeout = 5;
  options.idle_timeout = 2;
  options.max_body = std::size_t{16} << 20;
  return options;
}

Backint_Catalog_helper helper_for(const HTTP_Session_Options& options) {
  Backint_Catalog_helper helper;
  JSON_HTTP_Session session(platform::make_http_session(options), 0, 0);
  EXPECT_TRUE(helper.init(session));
  return helper;
}

template <class Info>
std::string dump(const Info& info) {
  Object object;
  info >> object;
  return JSON_Dump(object, false).str();
}

Backint_Backup_Job_Info sample_job(const std::string& uuid) {
  Backint_Backup_Job_Info job;
  job.database_backup_id = UINT64_MAX;
  job.uuid = uuid;
  job.host_uuid = "host \"1\"";
  job.job_act_id = "act";
  job.type = "full";
  job.location = "there";
  job.database = "SYSTEMDB";
  job.compression = "lz4";
  job.compression_level = 9;
  job.sid = "HXE";
  job.pool_uuid = "pool";
  job.landscape_id = "5d1e/a b&c";
  platform::json::insert(job.extended_attrs)("streams", 4)("note", "ä😀\n");
  return job;
}

Backup_File_Info sample_file(std::uint64_t number) {
  const std::string text = std::to_string(number);
  Backup_File_Info file{};
  file.info_uuid = "info-" + text;
  file.filename = "/usr/sap/HXE/SYS/global/hdb/backint/SYSTEMDB/log_backup_1_0_" + text;
  file.origin_path = "origin " + text;
  file.size = UINT64_MAX - number;
  file.storage_size = number;
  file.extern_backup_id = "ebid+" + text;
  file.source_type = "pipe";
  file.pool_uuid = "pool";
  file.storage_path = "/pool/" + text;
  file.location = number % 2 == 0 ? "" : "there";
  return file;
}

// An operation with arguments that are good, and what it says when its request fails: the message with STATUS and
// MESSAGE in place of the response's status and JSON text.
struct Operation {
  const char* name;
  std::function<bool(Backint_Catalog_helper&)> run;
  std::string failure;
};

std::vector<Operation> operations() {
  static Backint_Backup_Job_Info job;
  static Backup_File_Info file;
  static Backup_Files_Info files;
  static std::int64_t total;
  job = sample_job("job");
  file = sample_file(1);
  files.clear();
  total = 0;
  const std::string add_job = "Failed to add backint job: Failed to post /vx/r/hana/backint/job, status STATUS\n";
  const std::string get_job =
      "Failed to get backint job: Failed to get /vx/r/hana/backint/job, status STATUS, message = 'MESSAGE'\n";
  const std::string update_job =
      "Failed to update backint job: Failed to put /vx/r/hana/backint/job, status STATUS, message = 'MESSAGE'\n";
  const std::string add_file = "Failed to add backint file: Failed to post /vx/r/hana/backint/file, status STATUS\n";
  const std::string get_file =
      "Failed to get backint backup files: Failed to get /vx/r/hana/backint/file, status STATUS, message = "
      "'MESSAGE'\n";
  return {
      {"add_job", [](auto& h) { return h.add_job(job); }, add_job},
      {"check_and_add_job", [](auto& h) { return h.check_and_add_job(job); }, add_job},
      {"get_job", [](auto& h) { return h.get_job("job", job); }, get_job},
      {"get_job by landscape", [](auto& h) { return h.get_job("landscape", 0, job); }, get_job},
      {"get_job_req", [](auto& h) { return h.get_job_req("job_uuid=job", job); }, get_job},
      {"update_job_database_backup_id", [](auto& h) { return h.update_job_database_backup_id("job", 5); }, update_job},
      {"update_job_req", [](auto& h) { return h.update_job_req(job); }, update_job},
      {"remove_job", [](auto& h) { return h.remove_job("job"); }, "Failed to remove backint backup job"},
      {"add_file", [](auto& h) { return h.add_file("job", file); }, add_file},
      {"add_files", [](auto& h) { return h.add_files("job", Backup_Files_Info(2, file)); }, add_file},
      {"get_files", [](auto& h) { return h.get_files("", "", "", total, files, 1, 0); }, get_file},
      {"get_job_files", [](auto& h) { return h.get_job_files("job", files); }, get_file},
      {"get_file_by_ebid", [](auto& h) { return h.get_file_by_ebid("ebid", file); }, get_file},
      {"get_file_req", [](auto& h) { return h.get_file_req("limit=1", total, files); }, get_file},
      {"remove_file", [](auto& h) { return h.remove_file("ebid"); }, "Failed to remove backint backup file\n"},
  };
}

std::string replaced(std::string text, const std::string& mark, const std::string& by) {
  const std::size_t at = text.find(mark);
  return at == std::string::npos ? text : text.replace(at, mark.size(), by);
}

std::string failure_of(const Operation& operation, int status, const std::string& message) {
  return replaced(replaced(operation.failure, "STATUS", std::to_string(status)), "MESSAGE", message);
}

void expect_no_session(test::Log_Capture& log, const std::string& name) {
  const std::vector<test::Logged> logged = log.take();
  ASSERT_EQ(logged.size(), 1U) << name;
  EXPECT_TRUE(
      std::regex_match(logged[0].text, std::regex("Unexpected error in hana/common/backint_catalog_helper\\.cpp:"
                                                  "[1-9][0-9]*, session_is NULL!\n")))
      << logged[0].text;
  EXPECT_EQ(logged[0].priority, LM_EMERGENCY);
  EXPECT_EQ(logged[0].status, 0);
}

TEST(BackintCatalogHelper, without_a_session_every_operation_says_so) {
  Backint_Catalog_helper helper;
  JSON_HTTP_Session no_session(nullptr, 5, 300);
  EXPECT_FALSE(helper.init(no_session));

  for (const Operation& operation : operations()) {
    test::Log_Capture log;
    EXPECT_FALSE(operation.run(helper)) << operation.name;
    expect_no_session(log, operation.name);
  }
}

TEST(BackintCatalogHelper, a_failed_init_keeps_the_session_there_was) {
  Catalog_Service service({});
  Backint_Catalog_helper helper = helper_for(options_for(service.base_url()));
  JSON_HTTP_Session no_session(nullptr, 5, 300);
  EXPECT_FALSE(helper.init(no_session));

  test::Log_Capture log;
  EXPECT_TRUE(helper.add_job(sample_job("a")));
}

// Which of session and arguments is looked at first differs from operation to operation on purpose.
TEST(BackintCatalogHelper, arguments_and_session_are_tested_in_each_operations_own_order) {
  static Backint_Backup_Job_Info job;
  static Backup_File_Info file{};
  static Backup_Files_Info files;
  static std::int64_t total = 0;
  const struct {
    const char* name;
    std::function<bool(Backint_Catalog_helper&, const char* text)> run;
    std::string precondition;
    bool session_first;
  } cases[] = {
      {"get_job", [](auto& h, auto* t) { return h.get_job(t, job); }, "job_uuid is NULL or \"\"", false},
      {"get_job", [](auto& h, auto* t) { return h.get_job(t, 1, job); }, "landscape_id is NULL or \"\"", false},
      {"update", [](auto& h, auto* t) { return h.update_job_database_backup_id(t, 1); }, "job_uuid is NULL or \"\"",
       false},
      {"remove_job", [](auto& h, auto* t) { return h.remove_job(t); }, "job_uuid is NULL or \"\"", true},
      {"add_file", [](auto& h, auto* t) { return h.add_file(t, file); }, "job_uuid is NULL or \"\"", true},
      {"add_files", [](auto& h, auto* t) { return h.add_files(t, {}); }, "job_uuid is NULL or \"\"", true},
      {"get_job_files", [](auto& h, auto* t) { return h.get_job_files(t, files); }, "job_uuid is NULL or \"\"", false},
      {"by_ebid", [](auto& h, auto* t) { return h.get_file_by_ebid(t, file); }, "ebid is NULL or \"\"", false},
      {"get_file_req", [](auto& h, auto* t) { return h.get_file_req(t, total, files); }, "query_string is NULL or \"\"",
       true},
      {"remove_file", [](auto& h, auto* t) { return h.remove_file(t); }, "ebid is NULL or \"\"", true},
  };
  Catalog_Service service({});
  Backint_Catalog_helper helper = helper_for(options_for(service.base_url()));
  for (const auto& c : cases) {
    for (const char* text : {static_cast<const char*>(nullptr), ""}) {
      test::Log_Capture log;
      EXPECT_FALSE(c.run(helper, text)) << c.name;
      log.expect_precondition(c.precondition);

      Backint_Catalog_helper without_session;
      EXPECT_FALSE(c.run(without_session, text)) << c.name;
      if (c.session_first) {
        expect_no_session(log, c.name);
      } else {
        log.expect_precondition(c.precondition);
      }
    }
  }

  test::Log_Capture log;
  EXPECT_FALSE(helper.add_files("job", {}));
  log.expect_error("Failed to add files: input files is empty\n");
  EXPECT_TRUE(service.take_requests().empty());
}

TEST(BackintCatalogHelper, each_operation_sends_one_request_of_its_own) {
  const std::string job_body = dump(sample_job("a/b c"));
  const std::string checked = replaced(job_body, "{\"compression\"", "{\"check_exist\":CHECK,\"compression\"");
  const std::string update =
      R"({"compression":"","compression_level":1,"database":"","database_backup_id":18446744073709551615,)"
      R"("extended_attrs":{},"host_uuid":"","job_act_id":"","landscape_id":"","location":"","pool_uuid":"","sid":"",)"
      R"("type":"","uuid":"a/b c"})";
  const std::string one_file = R"({"files":[)" + dump(sample_file(2)) + R"(],"job_uuid":"a/b c"})";
  static Backint_Backup_Job_Info job;
  static Backup_File_Info file{};
  static Backup_Files_Info files;
  static std::int64_t total = 0;
  job = sample_job("a/b c");
  const struct {
    std::function<bool(Backint_Catalog_helper&)> run;
    std::string line, body;
  } cases[] = {
      {[](auto& h) { return h.add_job(job); }, "POST /vx/r/hana/backint/job", replaced(checked, "CHECK", "false")},
      {[](auto& h) { return h.check_and_add_job(job); }, "POST /vx/r/hana/backint/job",
       replaced(checked, "CHECK", "true")},
      {[](auto& h) { return h.get_job("a/b c", job); }, "GET /vx/r/hana/backint/job?job_uuid=a%2fb+c", ""},
      {[](auto& h) { return h.get_job("x HTTP/1.1\r\nX: y\r\n\r\n", job); },
       "GET /vx/r/hana/backint/job?job_uuid=x+HTTP%2f1.1%0d%0aX%3a+y%0d%0a%0d%0a", ""},
      {[](auto& h) { return h.get_job("l&d", 0, job); },
       "GET /vx/r/hana/backint/job?landscape_id=l%26d&database_backup_id=0", ""},
      {[](auto& h) { return h.get_job_req("a=b c\r\nX: y", job); }, "GET /vx/r/hana/backint/job?a=b%20c%0d%0aX:%20y",
       ""},
      {[](auto& h) { return h.get_job_req(nullptr, job); }, "GET /vx/r/hana/backint/job", ""},
      {[](auto& h) { return h.update_job_database_backup_id("a/b c", UINT64_MAX); }, "PUT /vx/r/hana/backint/job",
       update},
      {[](auto& h) { return h.update_job_req(job); }, "PUT /vx/r/hana/backint/job", job_body},
      {[](auto& h) { return h.remove_job("a/b c"); }, "DELETE /vx/r/hana/backint/job?job_uuid=a%2fb+c", ""},
      {[](auto& h) { return h.add_file("a/b c", sample_file(2)); }, "POST /vx/r/hana/backint/file", one_file},
      {[](auto& h) { return h.get_files(nullptr, "D B", "", total, files, 100, 200); },
       "GET /vx/r/hana/backint/file?limit=100&offset=200&database=D+B", ""},
      {[](auto& h) { return h.get_files("l", "d", "f", total, files, INT64_MIN, -1); },
       "GET /vx/r/hana/backint/file?limit=-9223372036854775808&offset=-1&landscape_id=l&database=d&filename=f", ""},
      {[](auto& h) { return h.get_job_files("a/b c", files); }, "GET /vx/r/hana/backint/file?uuid=a%2fb+c", ""},
      {[](auto& h) { return h.get_file_by_ebid("e+1", file); }, "GET /vx/r/hana/backint/file?extern_backup_id=e%2b1",
       ""},
      {[](auto& h) { return h.remove_file("e+1"); }, "DELETE /vx/r/hana/backint/file?extern_backup_id=e%2b1", ""},
  };
  for (const auto& c : cases) {
    Scripted_Server server({whole(R"({"rows":[{}],"total":1})")});
    Backint_Catalog_helper helper = helper_for(options_for(server.url()));
    test::Log_Capture log;
    job = sample_job("a/b c");

    EXPECT_TRUE(c.run(helper)) << c.line;

    const std::vector<std::string> requests = server.requests();
    ASSERT_EQ(requests.size(), 1U) << c.line;
    EXPECT_EQ(requests[0].substr(0, requests[0].find("\r\n")), c.line + " HTTP/1.1");
    EXPECT_EQ(requests[0].substr(requests[0].find("\r\n\r\n") + 4), c.body);
  }
}

// Every fault against every operation: false, the operation's message, one request unless it was a GET that may go
// twice, and nothing changed.
TEST(BackintCatalogHelper, whatever_goes_wrong_each_operation_fails_with_its_message) {
  const struct {
    const char* what;
    Catalog_Fault fault;
    int status;
    const char* message;
  } cases[] = {
      {"created", {Catalog_Fault::REPLY, 201, "{}"}, 201, "{}"},
      {"no content", {Catalog_Fault::REPLY, 204, ""}, 204, "null"},
      {"server error", {Catalog_Fault::REPLY, 500, R"({"error": "disk %s full"})"}, 500, R"({"error":"disk %s full"})"},
      {"not JSON", {Catalog_Fault::REPLY, 502, "<html>"}, 502, "null"},
      {"redirect", {Catalog_Fault::REDIRECT, 302, "/vx/r/hana/backint/job"}, 302, "null"},
      {"cut", {Catalog_Fault::CUT}, 200, "null"},
  };
  for (const auto& c : cases) {
    for (const Operation& operation : operations()) {
      test::Log_Capture log;
      Catalog_Service service({});
      Backint_Catalog_helper helper = helper_for(options_for(service.base_url()));
      service.fail_next(c.fault);

      EXPECT_FALSE(operation.run(helper)) << operation.name << ", " << c.what;

      log.expect_error(failure_of(operation, c.status, c.message));
      EXPECT_EQ(service.take_requests().size(), 1U) << operation.name << ", " << c.what;
    }
  }
}

TEST(BackintCatalogHelper, a_service_that_stalls_or_never_ends_costs_no_more_than_the_limits) {
  const struct {
    Catalog_Fault::Kind fault;
    int status;
  } cases[] = {{Catalog_Fault::SLOW_HEADER, 0}, {Catalog_Fault::SLOW_BODY, 200}, {Catalog_Fault::ENDLESS, 200}};
  for (const auto& c : cases) {
    test::Log_Capture log;
    Catalog_Service service({});
    Backint_Catalog_helper helper = helper_for(options_for(service.base_url()));
    service.fail_next({c.fault});
    Backint_Backup_Job_Info job = sample_job("a");
    const auto start = std::chrono::steady_clock::now();

    EXPECT_FALSE(helper.get_job("a", job));

    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
    log.expect_error("Failed to get backint job: Failed to get /vx/r/hana/backint/job, status " +
                     std::to_string(c.status) + ", message = 'null'\n");
    EXPECT_EQ(dump(job), dump(sample_job("a")));
  }
}

// Replies of status 200 that are not what was asked for, to the operations that read them.
TEST(BackintCatalogHelper, a_reply_of_the_wrong_form_fails_and_changes_nothing) {
  const std::string files = "Failed to get backint backup file: ";
  const std::string no_object = "Failed to get backint job: return value is not object\n";
  const std::string not_added = "Failed to add backint job: Failed to post /vx/r/hana/backint/job, status 200\n";
  const struct {
    const char* reply;
    std::string get_job, add_job, get_file;
    std::int64_t total;
  } cases[] = {
      {"[]", no_object, not_added, files + "value is not an object\n", 7},
      {"\"x\"", no_object, not_added, files + "value is not an object\n", 7},
      {"{\"rows\":[", no_object, not_added, files + "value is not an object\n", 7},
      {"", no_object, not_added, files + "value is not an object\n", 7},
      {"{\"total\":1}", "", "", files + "key 'rows' is missing\n", 7},
      {"{\"rows\":{},\"total\":1}", "", "", files + "key 'rows': value is not an array\n", 7},
      {"{\"rows\":[{}]}", "", "", files + "key 'total' is missing\n", 7},
      {"{\"rows\":[{}],\"total\":9223372036854775808}", "", "",
       files + "key 'total': value is not a 64-bit signed integer\n", 7},
      {"{\"rows\":[{}],\"total\":1.0}", "", "", files + "key 'total': value is not a 64-bit signed integer\n", 7},
      {"{\"rows\":[],\"total\":-3}", "", "", "", -3},
  };
  for (const auto& c : cases) {
    Scripted_Server server({whole(c.reply)});
    Backint_Catalog_helper helper = helper_for(options_for(server.url()));
    Backint_Backup_Job_Info job = sample_job("a");
    Backup_Files_Info list;
    std::int64_t total = 7;
    test::Log_Capture log;

    EXPECT_EQ(helper.get_job("a", job), c.get_job.empty()) << c.reply;
    if (!c.get_job.empty()) log.expect_error(c.get_job);
    EXPECT_EQ(helper.check_and_add_job(job), c.add_job.empty()) << c.reply;
    if (!c.add_job.empty()) log.expect_error(c.add_job);
    EXPECT_EQ(helper.get_file_req("a=b", total, list), c.get_file.empty()) << c.reply;
    if (!c.get_file.empty()) log.expect_error(c.get_file);

    EXPECT_EQ(dump(job), dump(sample_job("a"))) << c.reply;
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(total, c.total);
  }
}

TEST(BackintCatalogHelper, replies_are_read_over_what_the_caller_has) {
  test::Log_Capture log;
  Scripted_Server server({whole(R"({"id":5,"sid":"NEW","compression_level":"x"})"),
                          whole(R"({"rows":[{"filename":"one"},5,{"filename":"two"}],"total":9})")});
  Backint_Catalog_helper helper = helper_for(options_for(server.url()));
  Backint_Backup_Job_Info job = sample_job("a");
  Backint_Backup_Job_Info expected = sample_job("a");
  expected.sid = "NEW";

  EXPECT_TRUE(helper.check_and_add_job(job));
  EXPECT_EQ(dump(job), dump(expected));
  EXPECT_EQ(job.id, 0U);

  Backup_Files_Info files(1, sample_file(1));
  std::int64_t total = 0;
  EXPECT_TRUE(helper.get_files("l", "", nullptr, total, files, 2, 0));
  EXPECT_EQ(total, 9);
  ASSERT_EQ(files.size(), 3U);
  EXPECT_EQ(dump(files.front()), dump(sample_file(1)));
  EXPECT_EQ(files.back().filename, "two");

  Backup_File_Info file = sample_file(1);
  EXPECT_TRUE(helper.get_file_by_ebid("e", file));
  EXPECT_EQ(file.filename, "two");
  EXPECT_EQ(file.size, 0U);
}

TEST(BackintCatalogHelper, finding_nothing_is_false_without_a_message) {
  test::Log_Capture log;
  Scripted_Server server({whole(R"({"rows":[],"total":0})")});
  Backint_Catalog_helper helper = helper_for(options_for(server.url()));
  Backup_Files_Info files;
  Backup_File_Info file = sample_file(1);

  EXPECT_FALSE(helper.get_job_files("a", files));
  EXPECT_FALSE(helper.get_file_by_ebid("e", file));
  EXPECT_EQ(dump(file), dump(sample_file(1)));

  files.push_back(file);
  EXPECT_TRUE(helper.get_job_files("a", files));
  EXPECT_EQ(files.size(), 1U);
}

TEST(BackintCatalogHelper, a_job_lives_in_the_catalog_until_it_is_removed) {
  test::Log_Capture log;
  Catalog_Service service({});
  Backint_Catalog_helper helper = helper_for(options_for(service.base_url()));
  Backint_Backup_Job_Info job = sample_job("a/b c");
  job.database_backup_id = 0;
  const std::string before = dump(job);

  ASSERT_TRUE(helper.add_job(job));
  EXPECT_FALSE(helper.add_job(job));
  log.expect_error("Failed to add backint job: Failed to post /vx/r/hana/backint/job, status 409\n");
  Backint_Backup_Job_Info known;
  known.uuid = job.uuid;
  EXPECT_TRUE(helper.check_and_add_job(known));
  EXPECT_EQ(dump(known), before);

  EXPECT_TRUE(helper.update_job_database_backup_id("a/b c", UINT64_MAX));
  Backint_Backup_Job_Info found;
  EXPECT_TRUE(helper.get_job("5d1e/a b&c", UINT64_MAX, found));
  EXPECT_EQ(dump(found), dump(sample_job("a/b c")));
  EXPECT_TRUE(helper.get_job("a/b c", found = {}));
  EXPECT_EQ(dump(found), dump(sample_job("a/b c")));

  EXPECT_TRUE(helper.remove_job("a/b c"));
  EXPECT_FALSE(helper.get_job("a/b c", found));
  log.expect_error(
      "Failed to get backint job: Failed to get /vx/r/hana/backint/job, status 404, message = '{\"message\":\"no such "
      "job\"}'\n");
}

TEST(BackintCatalogHelper, ten_thousand_files_go_in_one_request_and_come_back_in_pages) {
  constexpr std::uint64_t COUNT = 10000;
  constexpr std::int64_t PAGE = 999;
  test::Log_Capture log;
  Catalog_Service service({});
  Backint_Catalog_helper helper = helper_for(options_for(service.base_url()));
  Backup_Files_Info sent;
  for (std::uint64_t i = 0; i < COUNT; ++i)
    sent.push_back(sample_file(i));

  ASSERT_TRUE(helper.add_job(sample_job("a")));
  ASSERT_TRUE(helper.add_files("a", sent));
  EXPECT_EQ(service.take_requests().size(), 2U);

  Backup_Files_Info received;
  std::int64_t total = -1;
  while (total != static_cast<std::int64_t>(received.size())) {
    const std::size_t before = received.size();
    ASSERT_TRUE(
        helper.get_files("5d1e/a b&c", "SYSTEMDB", nullptr, total, received, PAGE, static_cast<std::int64_t>(before)));
    ASSERT_GT(received.size(), before);
  }
  EXPECT_EQ(total, static_cast<std::int64_t>(COUNT));
  EXPECT_TRUE(std::equal(sent.begin(), sent.end(), received.begin(), received.end(), [](const auto& a, const auto& b) {
    return dump(a) == dump(b) && b.database_backup_id == UINT64_MAX;
  }));

  Backup_Files_Info first_page;
  EXPECT_TRUE(helper.get_job_files("a", first_page));
  EXPECT_EQ(first_page.size(), static_cast<std::size_t>(Catalog_Service::DEFAULT_LIMIT));
  Backup_Files_Info named;
  EXPECT_TRUE(helper.get_files("", "", sample_file(77).filename.c_str(), total, named, 10, 0));
  EXPECT_EQ(named.size(), 1U);

  Backup_File_Info file{};
  EXPECT_TRUE(helper.get_file_by_ebid("ebid+9999", file));
  EXPECT_EQ(dump(file), dump(sample_file(9999)));
  EXPECT_TRUE(helper.remove_file("ebid+9999"));
  EXPECT_FALSE(helper.get_file_by_ebid("ebid+9999", file));
  EXPECT_FALSE(helper.remove_file("ebid+9999"));
  log.expect_error("Failed to remove backint backup file\n");
  EXPECT_FALSE(helper.add_file("unknown job", file));
  log.expect_error("Failed to add backint file: Failed to post /vx/r/hana/backint/file, status 404\n");
}

TEST(BackintCatalogHelper, a_wrong_password_is_refused_and_never_logged) {
  Catalog_Service service({0, ":memory:", "backint", "geheim", "", ""});
  HTTP_Session_Options options = options_for(service.base_url());
  test::Log_Capture log;
  Backint_Catalog_helper right = helper_for(options);
  EXPECT_TRUE(right.add_job(sample_job("a")));

  options.password = "falsch";
  Backint_Catalog_helper wrong = helper_for(options);
  EXPECT_FALSE(wrong.add_job(sample_job("b")));
  log.expect_error("Failed to add backint job: Failed to post /vx/r/hana/backint/job, status 401\n");
  for (const std::string& text : log.take_debug())
    EXPECT_EQ(text.find("falsch"), std::string::npos) << text;
}

TEST(BackintCatalogHelper, over_tls_nothing_is_sent_to_a_server_that_the_ca_does_not_vouch_for) {
  const test::Temporary_Directory folder;
  ASSERT_TRUE(sandbox::write_certificate(folder / "server.pem", folder / "server.key"));
  ASSERT_TRUE(sandbox::write_certificate(folder / "other.pem", folder / "other.key"));
  Catalog_Service service({0, ":memory:", "backint", "geheim", folder / "server.pem", folder / "server.key"});
  const struct {
    std::string ca_file;
    bool verify;
    bool ok;
  } cases[] = {{folder / "server.pem", true, true},
               {folder / "other.pem", true, false},
               {"", true, false},
               {folder / "missing.pem", true, false},
               {"", false, true}};
  for (const auto& c : cases) {
    test::Log_Capture log;
    HTTP_Session_Options options = options_for(service.base_url());
    options.ca_file = c.ca_file;
    options.verify_peer = c.verify;
    Backint_Catalog_helper helper;
    JSON_HTTP_Session session(platform::make_http_session(options), 3, 60);
    ASSERT_TRUE(helper.init(session));
    Backint_Backup_Job_Info job = sample_job("a");

    EXPECT_EQ(helper.check_and_add_job(job), c.ok) << c.ca_file;

    if (!c.ok) {
      log.expect_error("Failed to add backint job: Failed to post /vx/r/hana/backint/job, status 0\n");
      EXPECT_EQ(log.take_debug().size(), 1U) << "tried again";
    }
    EXPECT_EQ(service.take_requests().size(), c.ok ? 1U : 0U) << c.ca_file;
  }
}

TEST(BackintCatalogHelper, a_redirect_takes_no_credentials_anywhere) {
  test::Log_Capture log;
  Catalog_Service elsewhere({});
  Catalog_Service service({});
  Backint_Catalog_helper helper = helper_for(options_for(service.base_url()));
  service.fail_next({Catalog_Fault::REDIRECT, 302, elsewhere.base_url() + "/vx/r/hana/backint/job"});

  EXPECT_FALSE(helper.add_job(sample_job("a")));

  log.expect_error("Failed to add backint job: Failed to post /vx/r/hana/backint/job, status 302\n");
  EXPECT_TRUE(elsewhere.take_requests().empty());
  EXPECT_TRUE(service.take_requests()[0].authorized);
}

}  // namespace
