#include "hana/backint_catalog/backint_backup_file.h"

#include <exception>

#include "hana/backint_catalog/detail/record_fields.h"
#include "platform/json/object.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"

namespace sap_hana {

void write_fields(const Backup_File_Info& info, platform::json::Object& object) {
  // clang-format off
  platform::json::insert(object)
      ("info_uuid", info.info_uuid)
      ("filename", info.filename)
      ("size", info.size)
      ("storage_size", info.storage_size)
      ("extern_backup_id", info.extern_backup_id)
      ("source_type", info.source_type)
      ("storage_path", info.storage_path)
      ("origin_path", info.origin_path)
      ("pool_uuid", info.pool_uuid);
  // clang-format on
  if (!info.location.empty()) platform::json::insert(object)("location", info.location);
}

void read_fields(const platform::json::Object& object, Backup_File_Info& info) {
  // clang-format off
  platform::json::extract(object)
      ("filename", info.filename)
      ("size", info.size)
      ("storage_size", info.storage_size)
      ("extern_backup_id", info.extern_backup_id)
      ("source_type", info.source_type)
      ("storage_path", info.storage_path)
      ("info_uuid", info.info_uuid)
      ("origin_path", info.origin_path)
      ("location", info.location)
      ("pool_uuid", info.pool_uuid)
      ("database_backup_id", info.database_backup_id);
  // clang-format on
}

void Backup_File_Info::operator>>(platform::json::Object& object) const try {
  platform::json::Object written = object;
  write_fields(*this, written);
  object.swap(written);
} catch (...) {
  platform::failed();
}

void Backup_File_Info::operator<<(const platform::json::Object& object) try {
  read_fields(object, *this);
} catch (...) {
  platform::failed();
}

bool Backup_File_Info::parse(const platform::json::Object& object) {
  constexpr bool REQUIRED = true;
  try {
    // clang-format off
    platform::json::extract_or_throw(object)
        ("id", id, REQUIRED)
        ("info_uuid", info_uuid, REQUIRED)
        ("filename", filename, REQUIRED)
        ("origin_path", origin_path, REQUIRED)
        ("size", size, REQUIRED)
        ("storage_size", storage_size, REQUIRED)
        ("extern_backup_id", extern_backup_id, REQUIRED)
        ("source_type", source_type, REQUIRED)
        ("pool_uuid", pool_uuid, REQUIRED)
        ("storage_path", storage_path, REQUIRED)
        ("location", location, !REQUIRED)
        ("database_backup_id", database_backup_id, !REQUIRED);
    // clang-format on
    return true;
  } catch (const std::exception& error) {
    platform::log_error("Failed to parse backup file info: %s\n", error.what());
    return false;
  }
}

void read_records(const platform::json::Array& input, Backup_Files_Info& output) {
  Backup_Files_Info records;
  for (const platform::json::Value& element : input) {
    if (element.type() == platform::json::obj_type) read_fields(element.get_obj(), records.emplace_back());
  }
  output.splice(output.end(), records);
}

void Array_to_Backup_File_Info(const platform::json::Array& input, Backup_Files_Info& output) try {
  read_records(input, output);
} catch (...) {
  platform::failed();
}

}  // namespace sap_hana
