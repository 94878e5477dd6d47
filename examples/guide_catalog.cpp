#include <hana/common/backint_catalog_helper.h>

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  platform::HTTP_Session_Options options;
  options.base_url = argv[1];
  platform::JSON_HTTP_Session session(platform::make_http_session(options), 2, 30);  // retries, within so many seconds
  sap_hana::Backint_Catalog_helper catalog;
  if (!catalog.init(session)) return 1;

  sap_hana::Backint_Backup_Job_Info job;
  job.uuid = "guide-1";
  job.sid = "HXE";
  job.database = "TEN1";
  job.type = "full";
  sap_hana::Backup_File_Info file{};
  file.filename = "/usr/sap/HXE/SYS/global/hdb/backint/DB_TEN1/COMPLETE_DATA_BACKUP_databackup_0_1";
  file.extern_backup_id = "guide-1/0";  // what Backint hands to HANA
  file.size = 1 << 20;
  if (!catalog.add_job(job) || !catalog.add_file(job.uuid.c_str(), file)) return 1;

  sap_hana::Backup_File_Info found{};
  if (!catalog.get_file_by_ebid("guide-1/0", found)) return 1;
  std::cout << found.size << " bytes of " << found.filename << '\n';

  return catalog.remove_file("guide-1/0") && catalog.remove_job("guide-1") ? 0 : 1;
}
