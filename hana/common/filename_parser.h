#pragma once

#include <cstdint>
#include <string>

#include "platform/export.h"

namespace sap_hana {

// Groups of the log backup's name.
enum {
  LOG_FILE_VOLUME_ID = 1,
  LOG_FILE_PARTITION_ID = 2,
  LOG_FILE_FIRST_POSITION = 3,
  LOG_FILE_LAST_POSITION = 4,
  LOG_FILE_BACKUP_ID = 5
};

// Reads the names that HANA gives to backup files and Backint pipes:
//
//   COMPLETE_DATA_BACKUP_databackup_0_1                  <prefix>_databackup_<volume>_<partition>
//   P_databackup_incremental_100_200_3_1                 <prefix>_databackup_<kind>_<base id>_<id>_<volume>_<partition>
//   log_backup_2_0_1000_2000.1415905765532               log_backup_<volume>_<partition>_<first>_<last>.<id>
//   log_backup_0_0_0_0                                   the backup catalog
//
// A name is taken as it stands: a directory in front is not removed, and a parse operation finds its layout anywhere
// in the name and does not ask type(). Numbers that do not fit become their type's maximum. Time grows with the name's
// length only. Holds no state, so threads may share one.
class GUSTAIKRUM_EXPORT Filename_Parser {
 public:
  // What a name stands for.
  enum File_Type {
    TYPE_UNKNOWN = 0,              // no backup that HANA would name so
    TYPE_FULL_BACKUP = 1,          // a volume of a complete data backup
    TYPE_INCREMENTAL_BACKUP = 2,   // what changed since the data backup before, whatever kind that was
    TYPE_DIFFERENTIAL_BACKUP = 3,  // what changed since the full one before
    TYPE_CATALOG = 4,              // the backup catalog
    TYPE_LOG = 5                   // log segments
  };

  // What the name of a log backup tells.
  struct Log_File_Entry {
    std::uint16_t volume_id;       // the backup id, held to 65535
    std::uint16_t partition_id;    // 0 to 65535
    std::uint64_t first_position;  // log positions
    std::uint64_t last_position;   // may stand before the first one: nothing is checked
    std::uint64_t backup_id;       // milliseconds since 1970
  };

  // What the name of a full data backup tells, for one of its volumes.
  struct Full_Backup_Entry {
    std::string prefix;          // what the one who made the backup called it
    std::uint16_t volume_id;     // 0 to 65535
    std::uint16_t partition_id;  // the same
  };

  // What the name of a differential or incremental data backup tells, for one of its volumes.
  struct Delta_Backup_Entry {
    std::string prefix;              // what the one who made the backup called it
    std::uint64_t depend_backup_id;  // the backup that this one builds on
    std::uint64_t backup_id;         // of this one
    std::uint16_t volume_id;         // 0 to 65535
    std::uint16_t partition_id;      // the base backup id, held to 65535
  };

  // The kind of backup that a name stands for, case-sensitive. The catalog is the one exact name; any other name that
  // begins "log_backup_" is a log backup; data backups are told by what follows the prefix, wherever it stands.
  File_Type type(const std::string& name) const;

  // Takes a name of its kind apart and replaces the whole entry. False, with a message and the entry untouched, if the
  // name holds no such layout. Any single character may stand before a log backup's id; without one, the last two
  // digits of the last position are taken for it ("..._538623872" ends in the position 5386238 and the id 2).
  bool parse_log_file(const std::string& name, Log_File_Entry& entry) const;
  bool parse_full_backup_file(const std::string& name, Full_Backup_Entry& entry) const;
  bool parse_delta_backup_file(const std::string& name, Delta_Backup_Entry& entry) const;
};

}  // namespace sap_hana
