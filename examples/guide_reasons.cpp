#include <hana/common/environ_getter.h>
#include <hana/common/hdbsql_executor.h>

#include <iostream>

#include "configure_instance.h"
#include "log_reasons.h"

int main() {
  {
    const Log_Reasons reasons;
    std::string directory;
    if (!sap_hana::Environ_Getter::instance()->get_trace_dir("ABC", directory))
      std::cout << "no trace directory of ABC: '" << reasons.text() << "'\n";
  }

  sap_hana::System_Instance_Info instance;
  if (!sap_hana::System_Instance_Lister().list(instance, "HXE", "HDB90")) return 1;
  configure_instance(instance);
  sap_hana::HDBSQL_Executor executor("");
  if (!executor.init("HXE", "HDB90", "SYSTEMDB", "SYSTEM", "wrong")) return 1;
  {
    const Log_Reasons reasons;
    if (!executor.execute("select * from DUMMY", nullptr))
      std::cout << "no SQL: " << reasons.first() << "\nall that was logged:\n" << reasons.text();
  }
}
