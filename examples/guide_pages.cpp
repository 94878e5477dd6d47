#include <hana/common/backint_catalog_helper.h>

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  platform::HTTP_Session_Options options;
  options.base_url = argv[1];
  platform::JSON_HTTP_Session session(platform::make_http_session(options), 2, 30);
  sap_hana::Backint_Catalog_helper catalog;
  if (!catalog.init(session)) return 1;

  sap_hana::Backint_Backup_Job_Info job;
  job.uuid = "guide-2";
  job.sid = "HXE";
  job.database = "TEN1";
  sap_hana::Backup_Files_Info files(7);
  int number = 0;
  for (sap_hana::Backup_File_Info& file : files) {
    file.filename = "COMPLETE_DATA_BACKUP_databackup_" + std::to_string(number) + "_1";
    file.extern_backup_id = "guide-2/" + std::to_string(number++);
  }
  if (!catalog.add_job(job) || !catalog.add_files("guide-2", files)) return 1;

  constexpr std::int64_t PAGE = 3;
  sap_hana::Backup_Files_Info found;
  std::int64_t total = 0;
  std::size_t before = 0;
  do {
    before = found.size();
    const auto offset = static_cast<std::int64_t>(before);
    if (!catalog.get_files(nullptr, "TEN1", nullptr, total, found, PAGE, offset)) return 1;
    std::cout << found.size() << " of " << total << '\n';
  } while (found.size() > before && found.size() < static_cast<std::size_t>(total));

  for (const sap_hana::Backup_File_Info& file : found) {
    if (!catalog.remove_file(file.extern_backup_id.c_str())) return 1;
  }
  return catalog.remove_job("guide-2") ? 0 : 1;
}
