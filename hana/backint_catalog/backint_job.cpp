#include "hana/backint_catalog/backint_job.h"

#include <exception>

#include "hana/backint_catalog/detail/record_fields.h"
#include "platform/json/object.h"
#include "platform/json/text.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"

namespace sap_hana {

Backint_Backup_Job_Info::Backint_Backup_Job_Info() : id(0), database_backup_id(0), compression_level(1) {}
Backint_Backup_Job_Info::~Backint_Backup_Job_Info() = default;

void write_fields(const Backint_Backup_Job_Info& info, platform::json::Object& object) {
  // clang-format off
  platform::json::insert(object)
      ("database_backup_id", info.database_backup_id)
      ("uuid", info.uuid)
      ("host_uuid", info.host_uuid)
      ("job_act_id", info.job_act_id)
      ("type", info.type)
      ("location", info.location)
      ("database", info.database)
      ("compression", info.compression)
      ("compression_level", info.compression_level)
      ("extended_attrs", info.extended_attrs)
      ("sid", info.sid)
      ("pool_uuid", info.pool_uuid)
      ("landscape_id", info.landscape_id);
  // clang-format on
}

void read_fields(const platform::json::Object& object, Backint_Backup_Job_Info& info) {
  // clang-format off
  platform::json::extract(object)
      ("database_backup_id", info.database_backup_id)
      ("uuid", info.uuid)
      ("host_uuid", info.host_uuid)
      ("job_act_id", info.job_act_id)
      ("type", info.type)
      ("location", info.location)
      ("database", info.database)
      ("compression", info.compression)
      ("compression_level", info.compression_level)
      ("extended_attrs", info.extended_attrs)
      ("sid", info.sid)
      ("pool_uuid", info.pool_uuid)
      ("landscape_id", info.landscape_id);
  // clang-format on
}

void Backint_Backup_Job_Info::operator>>(platform::json::Object& object) const try {
  platform::json::Object written = object;
  write_fields(*this, written);
  object.swap(written);
} catch (...) {
  platform::failed();
}

void Backint_Backup_Job_Info::operator<<(const platform::json::Object& object) try {
  read_fields(object, *this);
} catch (...) {
  platform::failed();
}

bool Backint_Backup_Job_Info::parse(const platform::json::Object& object) try {
  constexpr bool REQUIRED = true;
  std::string attrs_text;
  try {
    // clang-format off
    platform::json::extract_or_throw(object)
        ("id", id, REQUIRED)
        ("uuid", uuid, REQUIRED)
        ("host_uuid", host_uuid, REQUIRED)
        ("job_act_id", job_act_id, REQUIRED)
        ("location", location, REQUIRED)
        ("database_backup_id", database_backup_id, REQUIRED)
        ("database", database, REQUIRED)
        ("extended_attrs", attrs_text, REQUIRED)
        ("pool_uuid", pool_uuid, !REQUIRED)
        ("landscape_id", landscape_id, REQUIRED);
    // clang-format on
  } catch (const std::exception& error) {
    platform::log_error("Failed to parse backint backup job info: %s\n", error.what());
    return false;
  }
  platform::json::extract(object)("compression", compression)("compression_level", compression_level);

  platform::json::Value attrs;
  if (!platform::json::loads_json(attrs_text.data(), attrs_text.size(), attrs, 1) ||
      attrs.type() != platform::json::obj_type) {
    platform::log_error("Failed to parse backint backup info: failed to load extended attrs\n");
    return false;
  }

  extended_attrs.swap(attrs.get_obj());
  platform::json::extract(extended_attrs)("compression_level", compression_level);
  return true;
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
