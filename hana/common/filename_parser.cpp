#include "hana/common/filename_parser.h"

#include <boost/regex.hpp>

#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/text/natoi.h"
#include "platform/text/search.h"

namespace sap_hana {
namespace {

// The dot before the backup id is meant as any character.
const boost::regex LOG_FILE_RE("log_backup_(\\d+)_(\\d+)_(\\d+)_(\\d+).(\\d+)");
const boost::regex FULL_BACKUP_FILE_RE("(.+)_databackup_(\\d+)_(\\d+).*");
const boost::regex DELTA_BACKUP_FILE_RE("(.+)_databackup_(differential|incremental)_(\\d+)_(\\d+)_(\\d+)_(\\d+)");

bool search(const std::string& name, boost::cmatch& match, const boost::regex& pattern,
            boost::match_flag_type flags = boost::match_default) {
  return platform::search(name.data(), name.data() + name.size(), match, pattern, flags);
}

// For a pattern that begins "(.+)". What matches such a pattern anywhere also matches it from the first character on,
// which is therefore the only start worth trying; trying them all takes quadratic time for a name that matches nowhere.
bool search_from_start(const std::string& name, boost::cmatch& match, const boost::regex& pattern) {
  return search(name, match, pattern, boost::match_continuous);
}

template <class T>
T number(const boost::csub_match& digits) {
  return platform::natoi<T>(digits.first, digits.second);
}

bool contains(const std::string& name, const char* part) {
  return name.find(part) != std::string::npos;
}

}  // namespace

Filename_Parser::File_Type Filename_Parser::type(const std::string& name) const {
  if (name == "log_backup_0_0_0_0") return TYPE_CATALOG;
  if (name.compare(0, 11, "log_backup_") == 0) return TYPE_LOG;
  if (contains(name, "_databackup_differential_")) return TYPE_DIFFERENTIAL_BACKUP;
  if (contains(name, "_databackup_incremental_")) return TYPE_INCREMENTAL_BACKUP;
  if (contains(name, "_databackup_")) return TYPE_FULL_BACKUP;
  return TYPE_UNKNOWN;
}

bool Filename_Parser::parse_log_file(const std::string& name, Log_File_Entry& entry) const try {
  boost::cmatch match;
  if (!search(name, match, LOG_FILE_RE)) {
    platform::log_error("Failed to analyse log file name '%s'\n", name.c_str());
    return false;
  }

  // Deliberate: the volume is taken from the backup id.
  entry.volume_id = number<std::uint16_t>(match[LOG_FILE_BACKUP_ID]);
  entry.partition_id = number<std::uint16_t>(match[LOG_FILE_PARTITION_ID]);
  entry.first_position = number<std::uint64_t>(match[LOG_FILE_FIRST_POSITION]);
  entry.last_position = number<std::uint64_t>(match[LOG_FILE_LAST_POSITION]);
  entry.backup_id = number<std::uint64_t>(match[LOG_FILE_BACKUP_ID]);
  return true;
} catch (...) {
  return platform::failed();
}

bool Filename_Parser::parse_full_backup_file(const std::string& name, Full_Backup_Entry& entry) const try {
  boost::cmatch match;
  if (!search_from_start(name, match, FULL_BACKUP_FILE_RE)) {
    platform::log_error("Failed to analyse full backup file name '%s'\n", name.c_str());
    return false;
  }

  entry.prefix.assign(match[1].first, match[1].second);
  entry.volume_id = number<std::uint16_t>(match[2]);
  entry.partition_id = number<std::uint16_t>(match[3]);
  return true;
} catch (...) {
  return platform::failed();
}

bool Filename_Parser::parse_delta_backup_file(const std::string& name, Delta_Backup_Entry& entry) const try {
  boost::cmatch match;
  if (!search_from_start(name, match, DELTA_BACKUP_FILE_RE)) {
    platform::log_error("Failed to analyse delta backup file name '%s'\n", name.c_str());
    return false;
  }

  entry.prefix.assign(match[1].first, match[1].second);
  entry.depend_backup_id = number<std::uint64_t>(match[3]);
  entry.backup_id = number<std::uint64_t>(match[4]);
  entry.volume_id = number<std::uint16_t>(match[5]);
  // Deliberate: the partition is taken from the base backup id.
  entry.partition_id = number<std::uint16_t>(match[3]);
  return true;
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
