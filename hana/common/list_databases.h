#pragma once

#include <string>

#include "hana/common/hdbsql_executor.h"
#include "hana/common/system_info.h"
#include "platform/export.h"
#include "platform/text/secure_string.h"

namespace sap_hana {

// Lists the databases of one HANA system from its view M_DATABASES. One thread uses a lister at a time.
class GUSTAIKRUM_EXPORT Database_Lister {
 public:
  // For a configured instance, as HDBSQL_Executor::init() finds it; hdbsql connects without naming a database. Where
  // that fails, every list() does.
  Database_Lister(const std::string& sid, const std::string& instance_name, const std::string& username,
                  const platform::secure_string& password);

  // Takes a copy of an executor. The lister does not know its SID and takes every system for one that is not
  // multiple-container, which matters where a listing has no rows.
  Database_Lister(HDBSQL_Executor& executor);

  // Appends the databases, or with a `name` (put into the statement as it is) the one of that name, in the view's
  // order. Only name, description and active are filled in; active is true for exactly "YES".
  //
  // If `infos` is empty then and the system is not multiple-container, one active database named after the SID (after
  // nothing, if the lister was made from an executor) is appended, whatever name was asked for.
  // False, with a message, if the statement fails; what was appended before that stays.
  bool list(Database_Info_List& infos, const std::string& name);

  // Replaces `info` with the first database of such a list. False, with `info` unchanged, if there is none.
  bool list(Database_Info& info, const std::string& name);

 private:
  std::string sid_;
  HDBSQL_Executor executor_;
};

}  // namespace sap_hana
