#pragma once

#include <string>

#include "hana/common/hdbsql_executor.h"
#include "platform/export.h"
#include "platform/text/secure_string.h"

namespace sap_hana {

// Starts and stops the tenant databases of a multiple-container HANA system with ALTER SYSTEM statements, run in its
// system database. A tenant's state is that of the view M_DATABASES; one that cannot be found out counts as stopped.
// One thread uses a controller at a time.
class GUSTAIKRUM_EXPORT Tenant_Database_Controller {
 public:
  // For the configured instance whose name is `sid` itself, with `instance_name` as the database to connect to.
  // Deliberate; where an instance is configured under "<sid>_<instance_name>", use the other constructor. If there is
  // no such instance, every statement fails.
  Tenant_Database_Controller(const std::string& sid, const std::string& instance_name, const std::string& user,
                             const platform::secure_string& password);

  // Takes a copy of an executor.
  Tenant_Database_Controller(HDBSQL_Executor& executor);

  // Start or stop the tenant, and wait for HANA to have done so. True without a statement if it is in that state
  // already. The name is put into the statement as it is; a statement longer than 255 characters is cut.
  // False if the statement fails; the executor has said why.
  //
  // Deliberate: a tenant that the view does not list counts as active, so that start() does nothing and is true. Where
  // the view cannot be read (the lister has said so), it counts as stopped: start() tries, stop() does nothing and is
  // true.
  bool start(const std::string& name);
  bool stop(const std::string& name);

 private:
  bool is_active(const std::string& name);
  bool run(const char* action, const std::string& name);

  HDBSQL_Executor executor_;
};

}  // namespace sap_hana
