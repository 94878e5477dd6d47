#pragma once

#include <list>
#include <string>

#include "platform/export.h"
#include "platform/text/secure_string.h"

namespace sap_hana {

// One schema of a database.
struct Database_Scheme_Base_Info {
  std::string name;     // as HANA has it, in its upper and lower case
  std::string owner;    // database user
  bool has_privileges;  // the connecting user has some privilege on it
};

// In the order of the view.
typedef std::list<Database_Scheme_Base_Info> Database_Scheme_Base_Info_List;

// Lists the schemas of a database from its view SCHEMAS. Holds the connection's names only: every list looks the
// configured instance up anew. Threads may not share one.
class GUSTAIKRUM_EXPORT Schema_Lister {
 public:
  // For a configured instance, as HDBSQL_Executor::init() finds it; nothing is checked here.
  Schema_Lister(const std::string& sid, const std::string& instance_name, const std::string& user,
                const platform::secure_string& password);

  // Appends the schemas of `database`, or with an empty name of the one that hdbsql reaches by itself, in the view's
  // order. A row's privilege counts as true if its text begins with "T".
  // False, with a message, if there is no such configured instance or the statement fails; what was appended before
  // that stays.
  bool list_schema(const std::string& database, Database_Scheme_Base_Info_List& infos);

 private:
  std::string sid_;
  std::string instance_name_;
  std::string user_;
  platform::secure_string password_;
};

}  // namespace sap_hana
