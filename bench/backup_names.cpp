#include <benchmark/benchmark.h>

#include <boost/regex.hpp>
#include <functional>
#include <string>

#include "bench/cases.h"
#include "bench/measure.h"
#include "hana/common/filename_parser.h"

namespace bench {
namespace {

using sap_hana::Filename_Parser;

std::function<void()> search(const std::string& name, const char* pattern) {
  return [&name, regex = boost::regex(pattern)] {
    boost::smatch match;
    expect(regex_search(name, match, regex), "finding the pattern");
    benchmark::DoNotOptimize(match);
  };
}

template <class Entry>
void race_name(const char* kind, const std::string& name, const char* pattern,
               bool (Filename_Parser::*parse)(const std::string&, Entry&) const) {
  const auto ours = [&] {
    Entry entry;
    expect((Filename_Parser().*parse)(name, entry), "taking the name apart");
    benchmark::DoNotOptimize(entry);
  };
  race_loops({std::string("name of a ") + kind, ours, {{"floor: the pattern alone", search(name, pattern), 1}}});
}

// A name that matches nowhere is searched to its end.
double seconds_of_length(std::size_t length) {
  const std::string name(length, 'x');
  return race_loops({"",
                     [&] {
                       Filename_Parser::Full_Backup_Entry entry;
                       expect(!Filename_Parser().parse_full_backup_file(name, entry), "refusing the name");
                     },
                     {}});
}

}  // namespace

void backup_names() {
  race_name("log backup", "log_backup_1_0_538414336_538623872.1415905765532",
            "log_backup_(\\d+)_(\\d+)_(\\d+)_(\\d+).(\\d+)", &Filename_Parser::parse_log_file);
  race_name("full backup", "/usr/sap/HXE/HDB90/backup/data/SYSTEMDB/COMPLETE_DATA_BACKUP_databackup_3_1",
            "(.+)_databackup_(\\d+)_(\\d+).*", &Filename_Parser::parse_full_backup_file);
  race_name("delta backup",
            "/usr/sap/HXE/HDB90/backup/data/SYSTEMDB/DAILY_databackup_incremental_1415905765532_1415992165532_3_1",
            "(.+)_databackup_(differential|incremental)_(\\d+)_(\\d+)_(\\d+)_(\\d+)",
            &Filename_Parser::parse_delta_backup_file);
  const double shorter = seconds_of_length(32 * 1024);
  compare("name of 64 KiB that is none", seconds_of_length(64 * 1024), "the same of 32 KiB", shorter, 2.2);
}

}  // namespace bench
