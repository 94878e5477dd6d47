#include "hana/backint_catalog/backint_backup_file.h"

#include <exception>

#include "platform/json/object.h"
#include "platform/log/log.h"

namespace sap_hana {

void Backup_File_Info::operator>>(platform::json::Object& object) const {
  platform::json::insert(object)("info_uuid", info_uuid)("filename", filename)("size", size)(
      "storage_size", storage_size)("extern_backup_id", extern_backup_id)("source_type", source_type)(
      "storage_path", storage_path)("origin_path", origin_path)("pool_uuid", pool_uuid);
  if (!location.empty()) platform::json::insert(object)("location", location);
}

void Backup_File_Info::operator<<(const platform::json::Object& object) {
  platform::json::extract(object)("filename", filename)("size", size)("storage_size", storage_size)(
      "extern_backup_id", extern_backup_id)("source_type", source_type)("storage_path", storage_path)(
      "info_uuid", info_uuid)("origin_path", origin_path)("location", location)("pool_uuid", pool_uuid)(
      "database_backup_id", database_backup_id);
}

bool Backup_File_Info::parse(const platform::json::Object& object) {
  constexpr bool REQUIRED = true;
  try {
    platform::json::extract_or_throw(object)("id", id, REQUIRED)("info_uuid", info_uuid, REQUIRED)(
        "filename", filename, REQUIRED)("origin_path", origin_path, REQUIRED)("size", size, REQUIRED)(
        "storage_size", storage_size, REQUIRED)("extern_backup_id", extern_backup_id, REQUIRED)(
        "source_type", source_type, REQUIRED)("pool_uuid", pool_uuid, REQUIRED)("storage_path", storage_path, REQUIRED)(
        "location", location, !REQUIRED)("database_backup_id", database_backup_id, !REQUIRED);
    return true;
  } catch (const std::exception& error) {
    platform::log_error("Failed to parse backup file info: %s\n", error.what());
    return false;
  }
}

void Array_to_Backup_File_Info(const platform::json::Array& input, Backup_Files_Info& output) {
  for (const platform::json::Value& element : input) {
    if (element.type() != platform::json::obj_type) continue;
    output.emplace_back();
    output.back() << element.get_obj();
  }
}

}  // namespace sap_hana
