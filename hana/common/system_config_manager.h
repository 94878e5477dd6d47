#pragma once

#include <string>

#include "hana/common/hdbsql_executor.h"
#include "platform/export.h"

namespace sap_hana {

// Changes the backup settings of a HANA system: values of its global.ini at the SYSTEM layer, read from the view
// M_INIFILE_CONTENTS and changed with ALTER SYSTEM ALTER CONFIGURATION.
//
// Every operation reads the present value first and writes only where that is another one. A value is looked for by
// its key alone; where several files or sections hold the key, the last row that the view gives counts. A read that
// fails (its message is logged) does not fail the operation: the value then counts as unknown, a flag as false.
// One thread uses a manager at a time.
class GUSTAIKRUM_EXPORT System_Config_Manager {
 public:
  // What HANA does with full log segments.
  enum LOG_MODE {
    LOG_MODE_UNKNOWN = 0,    // not to be set
    LOG_MODE_OVERWRITE = 1,  // writes over them, so that no log can be backed up
    LOG_MODE_NORMAL = 2      // keeps them until they are backed up
  };

  // Takes a copy of an executor, which has to be initialized already.
  System_Config_Manager(const HDBSQL_Executor& hdbsql);

  // Sets persistence.log_mode. HANA takes it over at its next restart. False, with a message, if the write fails or
  // the mode is neither of the two.
  bool alter_log_mode(LOG_MODE mode);

  // Switch persistence.enable_auto_log_backup, backup.log_backup_using_backint and
  // backup.catalog_backup_using_backint. The present value is a flag if it is "true", "yes", "false" or "no", upper
  // and lower case alike; anything else counts as false. False, with a message, if the write fails.
  bool alter_auto_log_backup(bool action);
  bool alter_log_backup_using_backint(bool action);
  bool alter_catalog_backup_using_backint(bool action);

 private:
  bool get_inifile_value(const std::string& key, std::string& value);
  bool string_to_bool(const std::string& input, bool& output);
  bool alter_system_value(const char* layer, const char* key, bool value);
  bool alter_system_value(const char* layer, const char* key, const char* value);
  bool alter_flag(const char* layer, const char* key, bool action, const char* failure);

  HDBSQL_Executor hdbsql_;
};

}  // namespace sap_hana
