#include "hana/common/filename_parser.h"

#include <gtest/gtest.h>

#include <boost/regex.hpp>
#include <chrono>
#include <optional>
#include <random>
#include <tuple>

#include "platform/text/natoi.h"
#include "tests/support/log_capture.h"

namespace sap_hana {

bool operator==(const Filename_Parser::Log_File_Entry& a, const Filename_Parser::Log_File_Entry& b) {
  const auto fields = [](const auto& e) {
    return std::tie(e.volume_id, e.partition_id, e.first_position, e.last_position, e.backup_id);
  };
  return fields(a) == fields(b);
}
bool operator==(const Filename_Parser::Full_Backup_Entry& a, const Filename_Parser::Full_Backup_Entry& b) {
  return std::tie(a.prefix, a.volume_id, a.partition_id) == std::tie(b.prefix, b.volume_id, b.partition_id);
}
bool operator==(const Filename_Parser::Delta_Backup_Entry& a, const Filename_Parser::Delta_Backup_Entry& b) {
  const auto fields = [](const auto& e) {
    return std::tie(e.prefix, e.depend_backup_id, e.backup_id, e.volume_id, e.partition_id);
  };
  return fields(a) == fields(b);
}

}  // namespace sap_hana

namespace {

using sap_hana::Filename_Parser;
using Log = Filename_Parser::Log_File_Entry;
using Full = Filename_Parser::Full_Backup_Entry;
using Delta = Filename_Parser::Delta_Backup_Entry;

// Parses into an entry that a refused name has to leave as it was, and expects the refusal's message.
template <class Entry>
void expect_parse(bool (Filename_Parser::*parse)(const std::string&, Entry&) const, const std::string& name,
                  const std::optional<Entry>& expected, Entry entry, const std::string& kind) {
  test::Log_Capture log;
  const Entry untouched = entry;

  EXPECT_EQ((Filename_Parser().*parse)(name, entry), expected.has_value()) << name;

  EXPECT_TRUE(entry == expected.value_or(untouched)) << name;
  if (!expected) log.expect_error("Failed to analyse " + kind + " name '" + name + "'\n");
}

TEST(FilenameParser, a_name_tells_its_kind) {
  const struct {
    const char* name;
    Filename_Parser::File_Type type;
  } cases[] = {
      {"log_backup_0_0_0_0", Filename_Parser::TYPE_CATALOG},
      {"log_backup_0_0_0_0.1", Filename_Parser::TYPE_LOG},
      {"log_backup_1_0_538414336_538623872", Filename_Parser::TYPE_LOG},
      {"log_backup_", Filename_Parser::TYPE_LOG},
      {"log_backup_P_databackup_0_1", Filename_Parser::TYPE_LOG},
      {"LOG_BACKUP_1_0_0_0.1", Filename_Parser::TYPE_UNKNOWN},
      {"/backup/log_backup_1_0_0_0.1", Filename_Parser::TYPE_UNKNOWN},
      {"log_backup", Filename_Parser::TYPE_UNKNOWN},
      {"", Filename_Parser::TYPE_UNKNOWN},
      {"COMPLETE_DATA_BACKUP_databackup_0_1", Filename_Parser::TYPE_FULL_BACKUP},
      {"_databackup_", Filename_Parser::TYPE_FULL_BACKUP},
      {"/usr/sap/HXE/SYS/global/hdb/backint/DB_TEN1/MONTHLY_databackup_3_1", Filename_Parser::TYPE_FULL_BACKUP},
      {"P_databackup_differential_1_2_3_1", Filename_Parser::TYPE_DIFFERENTIAL_BACKUP},
      {"P_databackup_incremental_1_2_3_1", Filename_Parser::TYPE_INCREMENTAL_BACKUP},
      {"P_databackup_incremental_databackup_differential_", Filename_Parser::TYPE_DIFFERENTIAL_BACKUP},
      {"P_databackup_Incremental_1_2_3_1", Filename_Parser::TYPE_FULL_BACKUP},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Filename_Parser().type(c.name), c.type) << c.name;
}

TEST(FilenameParser, a_log_backups_numbers_are_read_and_its_volume_is_the_backup_id) {
  const struct {
    const char* name;
    std::optional<Log> entry;
  } cases[] = {
      {"log_backup_2_0_1000_2000.7", Log{7, 0, 1000, 2000, 7}},
      {"log_backup_1_0_538414336_538623872.1415905765532", Log{65535, 0, 538414336, 538623872, 1415905765532}},
      {"log_backup_1_0_5_9x42", Log{42, 0, 5, 9, 42}},
      {"/backup/log_backup_2_3_4_5\n6.bak", Log{6, 3, 4, 5, 6}},
      {"log_backup_1_0_538414336_538623872", Log{2, 0, 538414336, 5386238, 2}},
      {"log_backup_1_70000_18446744073709551616_18446744073709551615.18446744073709551615",
       Log{65535, 65535, UINT64_MAX, UINT64_MAX, UINT64_MAX}},
      {"log_backup_x log_backup_1_0_5_6.7 log_backup_1_0_8_9.10", Log{7, 0, 5, 6, 7}},
      {"log_backup_0_0_0_0", std::nullopt},
      {"log_backup_1_0_5.7", std::nullopt},
      {"log_backup_-1_0_5_6.7", std::nullopt},
      {"LOG_BACKUP_1_0_5_6.7", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& c : cases)
    expect_parse(&Filename_Parser::parse_log_file, c.name, c.entry, {1, 2, 3, 4, 5}, "log file");
}

TEST(FilenameParser, the_last_data_backup_mark_ends_a_full_backups_prefix) {
  const struct {
    const char* name;
    std::optional<Full> entry;
  } cases[] = {
      {"COMPLETE_DATA_BACKUP_databackup_0_1", Full{"COMPLETE_DATA_BACKUP", 0, 1}},
      {"MONTHLY_databackup_3_70000.x", Full{"MONTHLY", 3, 65535}},
      {"a_databackup_1_2_databackup_3_4", Full{"a_databackup_1_2", 3, 4}},
      {"a_databackup_1_2_databackup_x_4", Full{"a", 1, 2}},
      {"line one\nline two_databackup_1_2", Full{"line one\nline two", 1, 2}},
      {"_databackup_1_2", std::nullopt},
      {"P_databackup_1", std::nullopt},
      {"P_databackup_incremental_1_2_3_4", std::nullopt},
  };
  for (const auto& c : cases)
    expect_parse(&Filename_Parser::parse_full_backup_file, c.name, c.entry, {"old", 1, 2}, "full backup file");
}

TEST(FilenameParser, a_delta_backups_partition_is_its_base_backup_id) {
  const struct {
    const char* name;
    std::optional<Delta> entry;
  } cases[] = {
      {"P_databackup_incremental_100_200_3_1", Delta{"P", 100, 200, 3, 100}},
      {"P_databackup_differential_1415905765532_1415905765999_3_1", Delta{"P", 1415905765532, 1415905765999, 3, 65535}},
      {"P_databackup_cumulative_100_200_3_1", std::nullopt},
      {"P_databackup_incremental_100_200_3", std::nullopt},
      {"P_databackup_0_1", std::nullopt},
  };
  for (const auto& c : cases)
    expect_parse(&Filename_Parser::parse_delta_backup_file, c.name, c.entry, {"old", 1, 2, 3, 4}, "delta backup file");
}

// The text of a layout's group where a plain search from every start finds the layout.
std::optional<std::string> search(const std::string& name, const boost::regex& layout, int group) {
  boost::smatch match;
  if (!boost::regex_search(name, match, layout)) return std::nullopt;
  return match.str(group);
}

TEST(FilenameParser, random_names_give_just_what_a_plain_search_gives) {
  const char* const pieces[] = {"log_backup_",
                                "_databackup_",
                                "incremental",
                                "differential",
                                "_",
                                "_",
                                "1",
                                "23",
                                "70000",
                                ".",
                                "\n",
                                "P",
                                "_databackup_incremental_"};
  const boost::regex log_layout("log_backup_(\\d+)_(\\d+)_(\\d+)_(\\d+).(\\d+)");
  const boost::regex full_layout("(.+)_databackup_(\\d+)_(\\d+).*");
  const boost::regex delta_layout("(.+)_databackup_(differential|incremental)_(\\d+)_(\\d+)_(\\d+)_(\\d+)");
  std::mt19937 random(1);
  int found = 0;

  for (int i = 0; i < 100000; ++i) {
    std::string name;
    for (auto left = random() % 14; left > 0; --left)
      name += pieces[random() % std::size(pieces)];
    test::Log_Capture log;
    Log log_entry{};
    Full full{};
    Delta delta{};
    const bool is_log = Filename_Parser().parse_log_file(name, log_entry);
    const bool is_full = Filename_Parser().parse_full_backup_file(name, full);
    const bool is_delta = Filename_Parser().parse_delta_backup_file(name, delta);
    log.take();

    const std::optional<std::string> last_position = search(name, log_layout, 4);
    ASSERT_EQ(is_log, last_position.has_value()) << name;
    ASSERT_EQ(log_entry.last_position, platform::natoi<std::uint64_t>(last_position.value_or("").c_str())) << name;
    ASSERT_EQ(is_full ? std::optional(full.prefix) : std::nullopt, search(name, full_layout, 1)) << name;
    ASSERT_EQ(is_delta ? std::optional(delta.prefix) : std::nullopt, search(name, delta_layout, 1)) << name;
    found += is_log + is_full + is_delta;
  }
  EXPECT_GT(found, 100);
}

TEST(FilenameParser, a_megabyte_of_a_name_takes_no_longer_than_its_length_asks) {
  const auto repeated = [](const std::string& part) {
    std::string text;
    while (text.size() < 1000000)
      text += part;
    return text;
  };
  const struct {
    std::string name;
    bool log, full, delta;
  } cases[] = {
      {repeated("x"), false, false, false},
      {repeated("x") + "_databackup_1_2", false, true, false},
      {repeated("_databackup_"), false, false, false},
      {repeated("_databackup_1_"), false, false, false},
      {repeated("_databackup_incremental_1_2_3_"), false, false, false},
      {"P_databackup_incremental_1_2_3_4" + repeated("_databackup_incremental_1_2_3_"), false, false, true},
      {repeated("log_backup_1_0_5_"), false, false, false},
      {repeated("log_backup_") + "1_0_5_6.7", true, false, false},
      {"log_backup_" + repeated("1"), false, false, false},
      {"log_backup_1_0_5_" + repeated("1"), true, false, false},
      {"P_databackup_" + repeated("1"), false, false, false},
      {"P_databackup_incremental_1_2_" + repeated("1"), false, false, false},
      {repeated(std::string("\0\xff", 2)), false, false, false},
  };
  for (const auto& c : cases) {
    test::Log_Capture log;
    Log log_entry{};
    Full full{};
    Delta delta{};
    const auto start = std::chrono::steady_clock::now();

    Filename_Parser().type(c.name);
    EXPECT_EQ(Filename_Parser().parse_log_file(c.name, log_entry), c.log) << c.name.substr(0, 40);
    EXPECT_EQ(Filename_Parser().parse_full_backup_file(c.name, full), c.full) << c.name.substr(0, 40);
    EXPECT_EQ(Filename_Parser().parse_delta_backup_file(c.name, delta), c.delta) << c.name.substr(0, 40);

    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << c.name.substr(0, 40);
    log.take();
  }
}

}  // namespace
