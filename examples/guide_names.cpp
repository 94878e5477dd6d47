#include <hana/common/filename_parser.h>
#include <platform/files/directory.h>

#include <iostream>
#include <set>

namespace {

using sap_hana::Filename_Parser;

std::string describe(const std::string& name) {
  const Filename_Parser parser;
  Filename_Parser::Full_Backup_Entry full{};
  Filename_Parser::Delta_Backup_Entry delta{};
  Filename_Parser::Log_File_Entry log{};
  switch (parser.type(name)) {
    case Filename_Parser::TYPE_CATALOG:
      return "the backup catalog";
    case Filename_Parser::TYPE_LOG:
      if (!parser.parse_log_file(name, log)) break;
      return "log from " + std::to_string(log.first_position) + ", backup " + std::to_string(log.backup_id);
    case Filename_Parser::TYPE_FULL_BACKUP:
      if (!parser.parse_full_backup_file(name, full)) break;
      return "all of volume " + std::to_string(full.volume_id) + ", called " + full.prefix;
    case Filename_Parser::TYPE_DIFFERENTIAL_BACKUP:
    case Filename_Parser::TYPE_INCREMENTAL_BACKUP:
      if (!parser.parse_delta_backup_file(name, delta)) break;
      return "volume " + std::to_string(delta.volume_id) + " since backup " + std::to_string(delta.depend_backup_id);
    case Filename_Parser::TYPE_UNKNOWN:
      break;
  }
  return "no backup";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::set<std::string> names;  // a directory has no order
  for (const platform::Directory_Entry& entry : platform::iterate_directory(argv[1], false, 0))
    names.insert(entry.name);
  for (const std::string& name : names)
    std::cout << name << "\n  " << describe(name) << '\n';
}
