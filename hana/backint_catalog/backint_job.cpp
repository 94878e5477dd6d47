#include "hana/backint_catalog/backint_job.h"

#include <exception>

#include "platform/json/object.h"
#include "platform/json/text.h"
#include "platform/log/log.h"

namespace sap_hana {

Backint_Backup_Job_Info::Backint_Backup_Job_Info() : id(0), database_backup_id(0), compression_level(1) {}
Backint_Backup_Job_Info::~Backint_Backup_Job_Info() = default;

void Backint_Backup_Job_Info::operator>>(platform::json::Object& object) const {
  platform::json::insert(object)("database_backup_id", database_backup_id)("uuid", uuid)("host_uuid", host_uuid)(
      "job_act_id", job_act_id)("type", type)("location", location)("database", database)("compression", compression)(
      "compression_level", compression_level)("extended_attrs", extended_attrs)("sid", sid)("pool_uuid", pool_uuid)(
      "landscape_id", landscape_id);
}

void Backint_Backup_Job_Info::operator<<(const platform::json::Object& object) {
  platform::json::extract(object)("database_backup_id", database_backup_id)("uuid", uuid)("host_uuid", host_uuid)(
      "job_act_id", job_act_id)("type", type)("location", location)("database", database)("compression", compression)(
      "compression_level", compression_level)("extended_attrs", extended_attrs)("sid", sid)("pool_uuid", pool_uuid)(
      "landscape_id", landscape_id);
}

bool Backint_Backup_Job_Info::parse(const platform::json::Object& object) {
  constexpr bool REQUIRED = true;
  std::string attrs_text;
  try {
    platform::json::extract_or_throw(object)("id", id, REQUIRED)("uuid", uuid, REQUIRED)(
        "host_uuid", host_uuid, REQUIRED)("job_act_id", job_act_id, REQUIRED)("location", location, REQUIRED)(
        "database_backup_id", database_backup_id, REQUIRED)("database", database, REQUIRED)(
        "extended_attrs", attrs_text, REQUIRED)("pool_uuid", pool_uuid, !REQUIRED)("landscape_id", landscape_id,
                                                                                   REQUIRED);
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
}

}  // namespace sap_hana
