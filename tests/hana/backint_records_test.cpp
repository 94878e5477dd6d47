#include <gtest/gtest.h>

#include <tuple>

#include "hana/backint_catalog/backint_backup_file.h"
#include "hana/backint_catalog/backint_job.h"
#include "platform/json/text.h"
#include "tests/support/log_capture.h"

namespace {

using platform::json::JSON_Dump;
using platform::json::Object;
using platform::json::Value;
using sap_hana::Backint_Backup_Job_Info;
using sap_hana::Backup_File_Info;
using sap_hana::Backup_Files_Info;
using Keys = std::vector<std::string>;

std::string dump(const Value& value) {
  return JSON_Dump(value, false).str();
}

template <class Info>
Object written(const Info& info) {
  Object object;
  info >> object;
  return object;
}

// Objects of every key; texts are their key's name.
Object file_object() {
  Object object{{"id", 1}, {"size", UINT64_MAX}, {"storage_size", 2}, {"database_backup_id", 3}};
  for (const char* key : {"info_uuid", "filename", "origin_path", "extern_backup_id", "source_type", "pool_uuid",
                          "storage_path", "location"})
    object[key] = key;
  return object;
}

Object job_object() {
  Object object{{"id", 1}, {"database_backup_id", UINT64_MAX}, {"compression_level", 9}};
  object["extended_attrs"] = Object{{"a", 1}};
  for (const char* key : {"uuid", "host_uuid", "job_act_id", "type", "location", "database", "compression", "sid",
                          "pool_uuid", "landscape_id"})
    object[key] = key;
  return object;
}

TEST(BackintRecords, every_key_has_its_field_and_only_a_strict_reading_takes_the_row) {
  Backup_File_Info file{};
  file << file_object();
  EXPECT_EQ(file.id, 0U);
  EXPECT_TRUE(file.parse(file_object()));
  EXPECT_EQ(std::tie(file.id, file.info_uuid, file.filename, file.origin_path, file.extern_backup_id, file.size),
            std::make_tuple(1U, "info_uuid", "filename", "origin_path", "extern_backup_id", UINT64_MAX));
  EXPECT_EQ(std::tie(file.source_type, file.pool_uuid, file.storage_path, file.location, file.database_backup_id),
            std::make_tuple("source_type", "pool_uuid", "storage_path", "location", 3U));

  Backint_Backup_Job_Info job;
  job << job_object();
  EXPECT_EQ(std::tie(job.id, job.uuid, job.host_uuid, job.job_act_id, job.type, job.location, job.database, job.sid),
            std::make_tuple(0U, "uuid", "host_uuid", "job_act_id", "type", "location", "database", "sid"));
  EXPECT_EQ(std::tie(job.compression, job.pool_uuid, job.landscape_id),
            std::make_tuple("compression", "pool_uuid", "landscape_id"));
}

template <class Info>
void expect_lenient_reading(const Object& all, const Object& all_written) {
  const Info fresh = Info();
  for (const auto& [key, value] : written(fresh)) {
    Object object = all;
    object[key] = value.type() == platform::json::int_type ? Value(-5) : Value(5.0);
    if (key == "compression_level") object[key] = UINT64_MAX;
    Object expected = all_written;
    expected[key] = value;
    Info info = Info();

    info << object;

    EXPECT_EQ(dump(written(info)), dump(expected));
  }
}

// Neither record tells its row, nor a file the backup that the catalog knows it by.
TEST(BackintRecords, what_is_written_is_what_lenient_reading_took_with_wrong_types_left_out) {
  Object job = job_object();
  job.erase("id");
  expect_lenient_reading<Backint_Backup_Job_Info>(job_object(), job);

  Object file = file_object();
  file.erase("id");
  file.erase("database_backup_id");
  expect_lenient_reading<Backup_File_Info>(file_object(), file);

  EXPECT_EQ(written(Backup_File_Info{}).count("location"), 0U);
  EXPECT_EQ(
      dump(written(Backint_Backup_Job_Info())),
      R"({"compression":"","compression_level":1,"database":"","database_backup_id":0,"extended_attrs":{},"host_uuid":"","job_act_id":"","landscape_id":"","location":"","pool_uuid":"","sid":"","type":"","uuid":""})");
}

// Gives the object its required keys one after the other, each of them first in a wrong type.
template <class Info>
void expect_strict_reading(const Object& all, const Keys& required, const std::string& message) {
  Object object;
  for (const std::string& key : required) {
    test::Log_Capture log;
    Info info = Info();
    EXPECT_FALSE(info.parse(object));
    log.expect_error(message + "key '" + key + "' is missing\n");

    object[key] = -1;
    EXPECT_FALSE(info.parse(object));
    EXPECT_EQ(log.take().size(), 1U);
    object[key] = all.at(key);
  }
  EXPECT_TRUE(Info().parse(object));
}

TEST(BackintRecords, strict_reading_stops_at_the_first_required_key_that_fails) {
  expect_strict_reading<Backup_File_Info>(file_object(),
                                          {"id", "info_uuid", "filename", "origin_path", "size", "storage_size",
                                           "extern_backup_id", "source_type", "pool_uuid", "storage_path"},
                                          "Failed to parse backup file info: ");
  Object job = job_object();
  job["extended_attrs"] = "{}";
  expect_strict_reading<Backint_Backup_Job_Info>(job,
                                                 {"id", "uuid", "host_uuid", "job_act_id", "location",
                                                  "database_backup_id", "database", "extended_attrs", "landscape_id"},
                                                 "Failed to parse backint backup job info: ");
}

TEST(BackintRecords, strict_reading_of_a_job_takes_its_attributes_and_their_compression_level_from_a_text) {
  const auto read = [](const std::string& attributes) {
    test::Log_Capture log;
    Object object = job_object();
    object["extended_attrs"] = attributes;
    Backint_Backup_Job_Info job;
    job.extended_attrs["old"] = 1;
    if (!job.parse(object)) log.expect_error("Failed to parse backint backup info: failed to load extended attrs\n");
    EXPECT_EQ(job.type + job.sid, "");  // not read, deliberately
    return std::to_string(job.compression_level) + " " + dump(job.extended_attrs);
  };
  EXPECT_EQ(read("{}"), "9 {}");
  EXPECT_EQ(read(R"({"compression_level":4,"b":[1]})"), R"(4 {"b":[1],"compression_level":4})");
  EXPECT_EQ(read(R"({"compression_level":"4"})"), R"(9 {"compression_level":"4"})");
  for (const std::string none : {"[1]", "", "{} {}"})
    EXPECT_EQ(read(none), R"(9 {"old":1})") << none;
}

TEST(BackintRecords, objects_of_an_array_become_files_behind_those_already_listed) {
  Backup_Files_Info files(1);
  files.front().filename = "first";

  sap_hana::Array_to_Backup_File_Info({file_object(), 5, "text", Object()}, files);

  ASSERT_EQ(files.size(), 3U);
  EXPECT_EQ(files.front().filename, "first");
  EXPECT_EQ(std::next(files.begin())->filename, "filename");
  EXPECT_EQ(files.back().filename, "");
}

}  // namespace
