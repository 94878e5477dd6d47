#pragma once

#include <cstdint>
#include <string>

#include "platform/export.h"
#include "platform/json/value.h"

namespace sap_hana {

// One Backint backup run, as the backup server's catalog keeps it. Every field travels under its own name.
//
// Where memory runs out, an operation logs it and leaves unchanged what it fills.
struct GUSTAIKRUM_EXPORT Backint_Backup_Job_Info {
  std::uint64_t id;                       // the catalog's row
  std::uint64_t database_backup_id;       // HANA's id of the backup
  std::string uuid;                       // by which a job is found, updated and removed
  std::string host_uuid;                  // of the host that runs the job
  std::string job_act_id;                 // the caller's id of what the job is part of; nothing here looks at it
  std::string type;                       // the caller's word for the kind of job, such as "full"
  std::string location;                   // the caller's word for where the data go
  std::string database;                   // the HANA database's name
  std::string compression;                // the method, such as "lz4"
  int compression_level;                  // as the method counts it
  std::string sid;                        // of the database's system
  std::string pool_uuid;                  // of the storage pool
  std::string landscape_id;               // with database_backup_id it finds a job, too
  platform::json::Object extended_attrs;  // whatever else the caller wants kept

  // Zeros and empty texts, but compression level 1.
  Backint_Backup_Job_Info();
  ~Backint_Backup_Job_Info();

  // Writes every field but "id" into a request's object, empty ones too, replacing earlier values.
  void operator>>(platform::json::Object& object) const;

  // Reads a reply's object leniently: a field whose key is missing or holds another type stays as it was. "id" is not
  // read; "extended_attrs" is an object.
  void operator<<(const platform::json::Object& object);

  // Reads an object strictly. Required, in this order: "id", "uuid", "host_uuid", "job_act_id", "location",
  // "database_backup_id", "database", "extended_attrs" and "landscape_id"; "pool_uuid", "compression" and
  // "compression_level" may be missing; "type" and "sid" are left alone. Here "extended_attrs" is a text that holds an
  // object's JSON, and a "compression_level" in that object wins.
  // False, with a message, at the first required key that is missing or of another type, or if that text holds no
  // object; what was read before stays.
  bool parse(const platform::json::Object& object);
};

}  // namespace sap_hana
