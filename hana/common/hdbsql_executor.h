#pragma once

#include <cstdint>
#include <string>

#include "hana/common/system_info.h"
#include "platform/export.h"
#include "platform/log/log.h"
#include "platform/process/text_process_handler.h"
#include "platform/text/secure_string.h"

namespace sap_hana {

// Runs SQL statements on one database through SAP's command-line client hdbsql, a child process for each statement:
//
//   <tool> -u "<user>" -p "<password>" -i <number> [-d <database>] -n "<host>:<port>" "<statement>"
//
// with the instance's executable directory as LD_LIBRARY_PATH. Nothing in the values is escaped: a double quote ends
// its argument early, and <tool> and <database> stand without quotes, so that blanks and single quotes count there,
// too. A command line of more than 1,023 characters, or with a NUL in a value, is not run at all.
//
// An executor can do nothing before an init() has succeeded; from then on it keeps what the last successful one gave
// it. It holds no process and no connection between statements. A value: a copy carries the connection data with it.
// One thread uses an executor at a time.
class GUSTAIKRUM_EXPORT HDBSQL_Executor {
 public:
  // `tool` is the path of hdbsql; empty to take the one of the instance's executable directory.
  HDBSQL_Executor(const std::string& tool);

  // Takes the connection data of the configured instance named "<sid>_<instance_name>", such as "HXE_HDB90". With an
  // empty `database` hdbsql connects without -d. False, with a message and nothing changed, if another text is empty;
  // else as the next one.
  bool init(const std::string& sid, const std::string& instance_name, const std::string& database,
            const std::string& username, const platform::secure_string& password);

  // Takes them from the instance that platform::Instance_Manager holds under the type "hana" and this name. Of its
  // option "instance_number" the low 16 bits are taken. False, with nothing changed: with a message if the name, the
  // user or the password is empty or the instance lacks an option; without one if there is no such instance.
  bool init(const std::string& instance_manager_name, const std::string& database, const std::string& username,
            const platform::secure_string& password);

  // Takes them from a record; none of its fields is checked. The port is that of the system database where the system
  // is multiple-container, whatever database the record names, else the index server's. False, with a message and
  // nothing changed, if the user or the password is empty.
  //
  // A path of hdbsql that is known already is kept, also the one that an earlier init() found.
  bool init(const Database_Info& info, const std::string& username, const platform::secure_string& password);

  // Runs `sql` and drops its output. What the child does, and writes to standard error, goes to `log_msg_callback`, or
  // with an empty one to the log at LM_DEBUG. The call takes as long as the statement does.
  // True if hdbsql ran and ended with status 0. False, with a message, if it did not, or was not run because the
  // executor is not initialized or `sql` is empty.
  bool execute(const std::string& sql, platform::ACE_Log_Msg_Callback_var log_msg_callback);

  // The same with the lines of standard output given to `handler`, which stays the caller's and holds what it took of
  // them also if the result is false. A null handler is refused with a message.
  bool execute(const std::string& sql, platform::Text_Process_Handler* handler,
               platform::ACE_Log_Msg_Callback_var log_msg_callback);

 private:
  bool is_initialized();

  bool initialize_;
  bool multi_container_;
  std::string host_;
  std::uint16_t port_;  // SQL
  std::string sid_;
  std::string database_;
  std::uint16_t instance_number_;
  std::string username_;
  platform::secure_string password_;
  std::string tool_;            // path of hdbsql
  std::string dir_executable_;  // where its libraries lie
};

}  // namespace sap_hana
