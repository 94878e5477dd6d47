#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "platform/export.h"
#include "platform/json/value.h"

namespace sap_hana {

// One piece of data that a Backint job produced, as the backup server's catalog keeps it. Every field travels under
// its own name; integers are JSON integers. Backup_File_Info() starts with zeros and empty texts.
//
// Where memory runs out, an operation logs it and leaves unchanged what it fills.
struct GUSTAIKRUM_EXPORT Backup_File_Info {
  std::uint64_t id;                  // the catalog's row
  std::string info_uuid;             // of this record
  std::string filename;              // of what was backed up: a file's or a pipe's path
  std::string origin_path;           // where the data came from
  std::uint64_t size;                // bytes
  std::uint64_t storage_size;        // bytes that the storage needs for it
  std::string extern_backup_id;      // by which a file is found and removed
  std::string source_type;           // the caller's word for what it came from, such as "pipe"
  std::string pool_uuid;             // of the storage pool
  std::string storage_path;          // where it lies in the storage
  std::string location;              // the caller's word for where it lies; not sent where it is empty
  std::uint64_t database_backup_id;  // HANA's id of the backup

  // Writes the record into a request's object, replacing earlier values; "location" only if it is not empty, and never
  // "id" and "database_backup_id", which are the catalog's to tell.
  void operator>>(platform::json::Object& object) const;

  // Reads a reply's object leniently: a field whose key is missing or holds another type stays as it was. "id" is not
  // read.
  void operator<<(const platform::json::Object& object);

  // Reads an object strictly, key by key in the order of the fields above; only "location" and "database_backup_id"
  // may be missing. False, with a message that names the key, at the first key that is missing or of another type;
  // what was read before it stays.
  bool parse(const platform::json::Object& object);
};

// In the catalog's order, or in that in which they are added to it.
typedef std::list<Backup_File_Info> Backup_Files_Info;

// Appends a record to `output` for each object in `input`, read leniently; anything else in it is skipped.
GUSTAIKRUM_EXPORT void Array_to_Backup_File_Info(const platform::json::Array& input, Backup_Files_Info& output);

}  // namespace sap_hana
