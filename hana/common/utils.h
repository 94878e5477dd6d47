#pragma once

#include <cstdint>
#include <ctime>
#include <string>

#include "platform/export.h"

namespace sap_hana {

// Turns HANA's names into one another and into paths. None of these keeps state; threads may call them at once.
// Where one is false, its out-parameters are unchanged. Where memory runs out, that is logged, and the result is false
// or empty.

// The name under which an instance is configured: "ABC_HDB00" for ABC and "HDB00", or for ABC and 0. Nothing is
// checked; a number above 99 gives more digits.
GUSTAIKRUM_EXPORT std::string generate_instance_manager_name(const std::string& sid, const std::string& instance_name);
GUSTAIKRUM_EXPORT std::string generate_instance_manager_name(const std::string& sid, std::uint16_t instance_number);

// The number in an instance's name: "HDB07" gives 7. False unless the name is "HDB" and two more characters; those are
// read as far as they are a number, so "HDBxy" is 0, "HDB7x" is 7 and "HDB+5" is 5, deliberately.
GUSTAIKRUM_EXPORT bool instance_name_to_number(const std::string& name, std::uint16_t& number);

// The name of an instance by its number: 7 gives "HDB07". False above 99.
GUSTAIKRUM_EXPORT bool instance_number_to_name(std::uint16_t number, std::string& name);

// Takes a version such as "2.00.059.00.1636536034" apart: major 2, support pack 59, patch number 0. False unless it has
// five pieces between dots, where dots in a row count as one. A piece is read as far as it is a number.
GUSTAIKRUM_EXPORT bool parse_version_string(const std::string& str, std::uint16_t& major, std::uint32_t& support_pack,
                                            std::uint16_t& patch_number);

// The agent's configuration file, in "/var/opt/kelvora/tarnvale/agent/hana": "ondemand_<SID>" for a system (an empty
// instance name; the database is ignored then), "log_backup_<SID>_<instance>" for an instance, with "_<database>" for
// a database that is not empty. False, with a message, for an empty SID.
GUSTAIKRUM_EXPORT bool ondemand_conf_path(const std::string& sid, const std::string& instance_name,
                                          const std::string& database, std::string& path);

// Reads a time as HANA prints it, "2024-01-31T12:00:00+0100", in the forms that strptime() takes for
// "%Y-%m-%dT%H:%M:%S%z". False for any other text.
GUSTAIKRUM_EXPORT bool hana_time_to_posix_time(const char* s, std::time_t& t);

// Gives a file, or a directory and everything below it, to `user` and the group "sapsys". Symbolic links are not
// followed. False, with a message, if not all of it could be given.
GUSTAIKRUM_EXPORT bool change_file_group_to_sap(const char* path, const char* user);

// Sets the mode of every directory on the way to `path`, the root of an absolute path included, and of `path` itself.
// Always true: directories whose mode cannot be set are passed over.
GUSTAIKRUM_EXPORT bool change_directory_permission(const std::string& path, int permission);

// The catalog configuration file for a copy or a restore from one database to another,
// "/var/opt/kelvora/tarnvale/agent/hana/catalog/<SID>@<database>-<target SID>@<target database>".
// False, with a message, if one of the texts is null or empty.
GUSTAIKRUM_EXPORT bool catalog_conf_file_name(const char* origin_sid, const char* origin_database,
                                              const char* target_sid, const char* target_database, std::string& name);

// The file with further settings of a restore, "<SID>@<database>-restore-ext-conf" in the same directory.
// False, with a message, if one of the texts is null or empty.
GUSTAIKRUM_EXPORT bool restore_ext_conf_file(const char* sid, const char* database, std::string& name);

// The directory in which HANA makes a database's Backint pipes, below "/usr/sap/<SID>/SYS/global/hdb/backint": named
// "DB_<database>" in a multiple-container system (`mdc`), but "SYSTEMDB" for the system database, and as the database
// in any other. False, with a message, if one of the texts is null or empty.
GUSTAIKRUM_EXPORT bool database_pipe_path(const char* sid, const char* database, bool mdc, std::string& path);

}  // namespace sap_hana
