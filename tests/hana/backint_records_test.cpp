#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "hana/backint_catalog/backint_backup_file.h"
#include "hana/backint_catalog/backint_job.h"
#include "platform/json/text.h"
#include "tests/support/log_capture.h"

namespace {

using platform::json::Array;
using platform::json::JSON_Dump;
using platform::json::Object;
using platform::json::Value;
using sap_hana::Array_to_Backup_File_Info;
using sap_hana::Backint_Backup_Job_Info;
using sap_hana::Backup_File_Info;
using sap_hana::Backup_Files_Info;
using Keys = std::vector<std::string>;
using Fields = std::map<std::string, std::string>;

std::string dump(const Value& value) {
  return JSON_Dump(value, false).str();
}

// Every field of a record under its name, as JSON text.
Fields fields(const Backup_File_Info& info) {
  return {{"id", dump(info.id)},
          {"info_uuid", dump(info.info_uuid)},
          {"filename", dump(info.filename)},
          {"origin_path", dump(info.origin_path)},
          {"size", dump(info.size)},
          {"storage_size", dump(info.storage_size)},
          {"extern_backup_id", dump(info.extern_backup_id)},
          {"source_type", dump(info.source_type)},
          {"pool_uuid", dump(info.pool_uuid)},
          {"storage_path", dump(info.storage_path)},
          {"location", dump(info.location)},
          {"database_backup_id", dump(info.database_backup_id)}};
}

Fields fields(const Backint_Backup_Job_Info& info) {
  return {{"id", dump(info.id)},
          {"database_backup_id", dump(info.database_backup_id)},
          {"uuid", dump(info.uuid)},
          {"host_uuid", dump(info.host_uuid)},
          {"job_act_id", dump(info.job_act_id)},
          {"type", dump(info.type)},
          {"location", dump(info.location)},
          {"database", dump(info.database)},
          {"compression", dump(info.compression)},
          {"compression_level", dump(info.compression_level)},
          {"extended_attrs", dump(info.extended_attrs)},
          {"sid", dump(info.sid)},
          {"pool_uuid", dump(info.pool_uuid)},
          {"landscape_id", dump(info.landscape_id)}};
}

// An object of every key, each with a value that no other key and no fresh record has.
template <class Info>
Object sample() {
  Object object;
  std::uint64_t next = UINT64_MAX;
  for (const auto& [key, text] : fields(Info())) {
    if (text.front() == '"') {
      object[key] = "new " + key;
    } else if (text.front() == '{') {
      object[key] = Object{{"new", key}};
    } else {
      object[key] = key == "compression_level" ? 9 : next--;
    }
  }
  return object;
}

// What a fresh record's fields are once `keys` have been read from `object`.
template <class Info>
Fields fields_after(const Object& object, const Keys& keys) {
  Fields result = fields(Info());
  for (const std::string& key : keys)
    result[key] = dump(object.at(key));
  return result;
}

const Keys FILE_REQUIRED{"id",           "info_uuid",        "filename",    "origin_path", "size",
                         "storage_size", "extern_backup_id", "source_type", "pool_uuid",   "storage_path"};
const Keys JOB_REQUIRED{"id",       "uuid",           "host_uuid",   "job_act_id", "location", "database_backup_id",
                        "database", "extended_attrs", "landscape_id"};

Value wrong_type(const Value& value) {
  return value.type() == platform::json::int_type ? Value(-1) : Value(5.0);
}

template <class Info>
void expect_lenient_reading(const Keys& never_read) {
  const Object all = sample<Info>();
  for (const auto& [key, value] : all) {
    const bool read = std::count(never_read.begin(), never_read.end(), key) == 0;
    Object with_a_wrong_type = all;
    with_a_wrong_type[key] = key == "compression_level" ? Value(UINT64_MAX) : wrong_type(value);
    Info alone = Info();
    Info other = Info();

    alone << Object{{key, value}};
    EXPECT_EQ(fields(alone), fields_after<Info>(all, read ? Keys{key} : Keys{})) << key;

    other << with_a_wrong_type;
    Keys others;
    for (const auto& [name, unused] : all) {
      if (name != key && std::count(never_read.begin(), never_read.end(), name) == 0) others.push_back(name);
    }
    EXPECT_EQ(fields(other), fields_after<Info>(all, others)) << key;
  }
}

TEST(BackintRecords, lenient_reading_takes_each_key_by_itself_and_skips_wrong_types) {
  expect_lenient_reading<Backup_File_Info>({"id"});
  expect_lenient_reading<Backint_Backup_Job_Info>({"id"});
}

TEST(BackintRecords, a_file_is_written_without_what_the_catalog_tells) {
  Backup_File_Info file{};
  file << sample<Backup_File_Info>();
  Object expected = sample<Backup_File_Info>();
  expected.erase("id");
  expected.erase("database_backup_id");
  Object object{{"filename", 5}, {"kept", true}};
  expected["kept"] = true;

  file >> object;
  EXPECT_EQ(dump(object), dump(expected));

  file.location.clear();
  expected.erase("location");
  Object without_location{{"kept", true}};
  file >> without_location;
  EXPECT_EQ(dump(without_location), dump(expected));
}

TEST(BackintRecords, a_job_is_written_with_every_field_but_its_row) {
  Backint_Backup_Job_Info job;
  Object object;
  job >> object;
  EXPECT_EQ(dump(object),
            R"({"compression":"","compression_level":1,"database":"","database_backup_id":0,"extended_attrs":{},)"
            R"("host_uuid":"","job_act_id":"","landscape_id":"","location":"","pool_uuid":"","sid":"","type":"",)"
            R"("uuid":""})");

  job << sample<Backint_Backup_Job_Info>();
  job >> object;
  Object expected = sample<Backint_Backup_Job_Info>();
  expected.erase("id");
  EXPECT_EQ(dump(object), dump(expected));
}

// Takes the required keys away, and gives them a wrong type, one after another: all before the failing one are read.
template <class Info>
void expect_strict_reading(const Object& all, const Keys& required, const std::set<std::string>& unread_on_failure,
                           const std::string& message) {
  Keys before;
  for (const std::string& key : required) {
    for (const bool missing : {true, false}) {
      test::Log_Capture log;
      Object object = all;
      object[key] = wrong_type(object[key]);
      if (missing) object.erase(key);
      Info info = Info();

      EXPECT_FALSE(info.parse(object)) << key;

      EXPECT_EQ(fields(info), fields_after<Info>(all, before)) << key;
      const std::vector<test::Logged> logged = log.take();
      ASSERT_EQ(logged.size(), 1U);
      EXPECT_EQ(logged[0].text.substr(0, message.size()), message);
      EXPECT_NE(logged[0].text.find("key '" + key + "'"), std::string::npos) << logged[0].text;
    }
    if (unread_on_failure.count(key) == 0) before.push_back(key);
  }
}

TEST(BackintRecords, strict_reading_of_a_file_stops_at_the_first_key_that_fails) {
  const Object all = sample<Backup_File_Info>();
  expect_strict_reading<Backup_File_Info>(all, FILE_REQUIRED, {}, "Failed to parse backup file info: ");

  test::Log_Capture log;
  Backup_File_Info file{};
  EXPECT_TRUE(file.parse(all));
  EXPECT_EQ(dump(Array{file.location, file.database_backup_id}),
            dump(Array{all.at("location"), all.at("database_backup_id")}));

  Object required_only = all;
  required_only.erase("location");
  required_only["database_backup_id"] = "12";
  file = {};
  EXPECT_TRUE(file.parse(required_only));
  EXPECT_EQ(fields(file), fields_after<Backup_File_Info>(all, FILE_REQUIRED));
}

TEST(BackintRecords, strict_reading_of_a_job_stops_at_the_first_key_that_fails) {
  Object all = sample<Backint_Backup_Job_Info>();
  all["extended_attrs"] = "{}";
  Object without_pool = all;
  without_pool.erase("pool_uuid");

  expect_strict_reading<Backint_Backup_Job_Info>(without_pool, JOB_REQUIRED, {"extended_attrs"},
                                                 "Failed to parse backint backup job info: ");
}

TEST(BackintRecords, strict_reading_of_a_job_takes_its_attributes_from_a_text) {
  const std::string no_attributes = "Failed to parse backint backup info: failed to load extended attrs\n";
  const struct {
    Value attributes;
    std::optional<int> top_level;
    bool ok;
    std::string message;
    int level;
    std::string kept;
  } cases[] = {
      {"{}", 3, true, "", 3, "{}"},
      {"{}", std::nullopt, true, "", 1, "{}"},
      {R"({"compression_level":9,"a":[1]})", 3, true, "", 9, R"({"a":[1],"compression_level":9})"},
      {R"({"compression_level":"9"})", 3, true, "", 3, R"({"compression_level":"9"})"},
      {"[1]", 3, false, no_attributes, 3, R"({"old":1})"},
      {"", 3, false, no_attributes, 3, R"({"old":1})"},
      {"{} {}", 3, false, no_attributes, 3, R"({"old":1})"},
      {"not JSON", 3, false, no_attributes, 3, R"({"old":1})"},
      {std::string("{}\0", 3), 3, false, no_attributes, 3, R"({"old":1})"},
      {Object(), 3, false, "Failed to parse backint backup job info: key 'extended_attrs': value is not a string\n", 1,
       R"({"old":1})"},
  };
  for (const auto& c : cases) {
    test::Log_Capture log;
    Object object = sample<Backint_Backup_Job_Info>();
    object["extended_attrs"] = c.attributes;
    object.erase("compression_level");
    if (c.top_level) object["compression_level"] = *c.top_level;
    Backint_Backup_Job_Info job;
    job.extended_attrs["old"] = 1;
    job.type = "old type";
    job.sid = "OLD";

    EXPECT_EQ(job.parse(object), c.ok);

    if (!c.ok) log.expect_error(c.message);
    EXPECT_EQ(job.compression_level, c.level);
    EXPECT_EQ(dump(job.extended_attrs), c.kept);
    EXPECT_EQ(job.type + job.sid, "old typeOLD");
  }
}

TEST(BackintRecords, objects_of_an_array_become_files_behind_those_already_listed) {
  Backup_Files_Info files(1);
  files.front().filename = "first";

  Array_to_Backup_File_Info({Object{{"filename", "second"}, {"size", UINT64_MAX}}, 5, "text", Object()}, files);

  ASSERT_EQ(files.size(), 3U);
  EXPECT_EQ(files.front().filename, "first");
  EXPECT_EQ(std::next(files.begin())->filename, "second");
  EXPECT_EQ(std::next(files.begin())->size, UINT64_MAX);
  EXPECT_EQ(fields(files.back()), fields(Backup_File_Info()));
}

}  // namespace
