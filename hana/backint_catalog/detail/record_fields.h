#pragma once

#include "hana/backint_catalog/backint_backup_file.h"
#include "hana/backint_catalog/backint_job.h"

namespace sap_hana {

// What the records' operators do, for whoever has to know whether it was done: these throw where memory runs out.
void write_fields(const Backup_File_Info& info, platform::json::Object& object);
void write_fields(const Backint_Backup_Job_Info& info, platform::json::Object& object);
void read_fields(const platform::json::Object& object, Backup_File_Info& info);
void read_fields(const platform::json::Object& object, Backint_Backup_Job_Info& info);
void read_records(const platform::json::Array& input, Backup_Files_Info& output);

}  // namespace sap_hana
