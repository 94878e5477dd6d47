// Records a Backint run in the backup server's catalog, looks at it from all sides and removes it again.
//
//   catalog_tour URL [--user NAME --password-file FILE] [--ca-file FILE]
//
// "-" for the password file is standard input. What goes wrong is told on standard error.

#include <fcntl.h>
#include <hana/common/backint_catalog_helper.h>
#include <hana/common/filename_parser.h>
#include <hana/common/utils.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <string>

namespace {

using sap_hana::Filename_Parser;

constexpr const char* SID = "HXE";
constexpr const char* DATABASE = "TEN1";
constexpr std::int64_t PAGE = 4;

constexpr const char* NAMES[] = {
    "COMPLETE_DATA_BACKUP_databackup_0_1",
    "COMPLETE_DATA_BACKUP_databackup_1_1",
    "COMPLETE_DATA_BACKUP_databackup_2_1",
    "COMPLETE_DATA_BACKUP_databackup_3_1",
    "WEEKLY_databackup_differential_1415905765532_1415992165001_3_1",
    "DAILY_databackup_incremental_1415992165001_1416078565877_3_1",
    "log_backup_1_0_538414336_538623872.1415905765901",
    "log_backup_2_0_9223372036854775808_18446744073709551615.1415905766012",
    "log_backup_3_0_1024_2048.1415905766107",
    "log_backup_0_0_0_0",
};

void print(const char* step, const std::string& result) {
  // Flushed, so that what goes wrong stands below the last step in a file as well.
  std::cout << std::left << std::setw(28) << step << ' ' << result << std::endl;
}

// The kind of a backup and what its name tells; empty if the name cannot be read.
std::string describe(const std::string& name) {
  const Filename_Parser parser;
  Filename_Parser::Full_Backup_Entry full;
  Filename_Parser::Delta_Backup_Entry delta;
  Filename_Parser::Log_File_Entry log;
  switch (parser.type(name)) {
    case Filename_Parser::TYPE_CATALOG:
      return "backup catalog";
    case Filename_Parser::TYPE_LOG:
      if (!parser.parse_log_file(name, log)) return "";
      return "log, positions " + std::to_string(log.first_position) + " to " + std::to_string(log.last_position);
    case Filename_Parser::TYPE_FULL_BACKUP:
      if (!parser.parse_full_backup_file(name, full)) return "";
      return "full '" + full.prefix + "', volume " + std::to_string(full.volume_id);
    case Filename_Parser::TYPE_DIFFERENTIAL_BACKUP:
    case Filename_Parser::TYPE_INCREMENTAL_BACKUP:
      if (!parser.parse_delta_backup_file(name, delta)) return "";
      return "delta '" + delta.prefix + "' of " + std::to_string(delta.depend_backup_id) + ", volume " +
             std::to_string(delta.volume_id);
    case Filename_Parser::TYPE_UNKNOWN:
      break;
  }
  return "";
}

bool read_names() {
  for (const char* name : NAMES) {
    const std::string description = describe(name);
    if (description.empty()) return false;
    std::cout << "  " << name << "\n    " << description << '\n';
  }
  return true;
}

bool build_paths(std::string& pipes) {
  std::string conf;
  if (!sap_hana::database_pipe_path(SID, DATABASE, true, pipes) ||
      !sap_hana::ondemand_conf_path(SID, "HDB90", DATABASE, conf))
    return false;
  print("Backint pipes", pipes);
  print("configuration", conf);
  return true;
}

// The catalog's side of the run. Every step prints what it has found and is false once one fails.
class Run {
 public:
  Run(platform::JSON_HTTP_Session& session, const std::string& pipes) : pipes_(pipes) {
    usable_ = helper_.init(session);
    job_.uuid = "tour-" + std::to_string(::getpid()) + "-" + std::to_string(std::time(nullptr));
    job_.landscape_id = "landscape of " + job_.uuid;
    job_.sid = SID;
    job_.database = DATABASE;
    job_.type = "full";
    job_.compression = "lz4";
    job_.compression_level = 3;
  }

  bool add_job() {
    if (!usable_ || !helper_.check_and_add_job(job_)) return false;
    print("job added", job_.uuid);
    return true;
  }

  bool add_files() {
    sap_hana::Backup_Files_Info files;
    for (const char* name : NAMES) {
      sap_hana::Backup_File_Info file{};
      file.filename = pipes_ + "/" + name;
      file.extern_backup_id = job_.uuid + "/" + name;
      file.size = (files.size() + 1) << 30;
      file.storage_size = file.size / 4;
      file.source_type = "pipe";
      files.push_back(file);
    }
    if (!helper_.add_files(job_.uuid.c_str(), files)) return false;
    print("files added", std::to_string(files.size()) + " in one request");
    return true;
  }

  bool list() {
    sap_hana::Backup_Files_Info files;
    std::int64_t total = 1;
    std::uint64_t bytes = 0;
    for (std::int64_t seen = 0; seen < total; seen = static_cast<std::int64_t>(files.size())) {
      if (!helper_.get_files(job_.landscape_id.c_str(), DATABASE, nullptr, total, files, PAGE, seen)) return false;
      const auto now = static_cast<std::int64_t>(files.size());
      if (now == seen) break;
      print("files listed", std::to_string(seen + 1) + " to " + std::to_string(now) + " of " + std::to_string(total));
    }
    for (const sap_hana::Backup_File_Info& file : files)
      bytes += file.size;
    print("size in all", std::to_string(bytes >> 30) + " GiB");
    return files.size() == std::size(NAMES);
  }

  bool find_file() {
    sap_hana::Backup_File_Info file{};
    const std::string ebid = job_.uuid + "/" + NAMES[0];
    if (!helper_.get_file_by_ebid(ebid.c_str(), file)) return false;
    print("found by external id", file.filename);
    return true;
  }

  bool record_backup_id() {
    constexpr std::uint64_t BACKUP_ID = 1415905765532;
    sap_hana::Backint_Backup_Job_Info found;
    if (!helper_.update_job_database_backup_id(job_.uuid.c_str(), BACKUP_ID) ||
        !helper_.get_job(job_.landscape_id.c_str(), BACKUP_ID, found))
      return false;
    print("HANA's backup id recorded", std::to_string(found.database_backup_id) + " for " + found.uuid);
    return true;
  }

  bool remove_all() {
    for (const char* name : NAMES) {
      if (!helper_.remove_file((job_.uuid + "/" + name).c_str())) return false;
    }
    if (!helper_.remove_job(job_.uuid.c_str())) return false;
    print("removed", std::to_string(std::size(NAMES)) + " files and their job");
    return true;
  }

 private:
  sap_hana::Backint_Catalog_helper helper_;
  bool usable_;
  std::string pipes_;
  sap_hana::Backint_Backup_Job_Info job_;
};

// The first line of a file, up to LF or CR LF, byte by byte, so that no buffer keeps a copy.
bool read_password(const char* path, platform::secure_string& password) {
  const bool standard_input = std::strcmp(path, "-") == 0;
  const int fd = standard_input ? STDIN_FILENO : ::open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  char c = '\0';
  while (::read(fd, &c, 1) == 1 && c != '\n' && c != '\r')
    password.push_back(c);
  if (!standard_input) ::close(fd);
  return true;
}

bool read_arguments(int argc, char** argv, platform::HTTP_Session_Options& options) {
  if (argc < 2 || argc % 2 != 0 || argv[1][0] == '-') return false;
  options.base_url = argv[1];
  for (int i = 2; i < argc; i += 2) {
    const std::string name = argv[i];
    if (name == "--user") {
      options.user = argv[i + 1];
    } else if (name == "--ca-file") {
      options.ca_file = argv[i + 1];
    } else if (name != "--password-file" || !read_password(argv[i + 1], options.password)) {
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  platform::HTTP_Session_Options options;
  if (!read_arguments(argc, argv, options)) {
    const bool asked = argc == 2 && std::strcmp(argv[1], "--help") == 0;
    (asked ? std::cout : std::cerr) << "usage: catalog_tour URL [--user NAME --password-file FILE] [--ca-file FILE]\n";
    return asked ? 0 : 2;
  }

  std::cout << "A Backint run of " << DATABASE << '@' << SID << ", recorded at " << options.base_url << "\n\n";
  std::string pipes;
  if (!read_names() || !build_paths(pipes)) return 1;

  platform::JSON_HTTP_Session session(platform::make_http_session(options), 2, 30);
  Run run(session, pipes);
  if (run.add_job() && run.add_files() && run.list() && run.find_file() && run.record_backup_id() && run.remove_all())
    return 0;
  std::cerr << "the tour ends here: the lines above say why\n";
  return 1;
}
