#include "hana/common/filename_parser.h"
#include "tests/support/test.h"

namespace {

using sap_hana::Filename_Parser;

TEST(FilenameParser, a_name_tells_its_kind) {
  const std::map<std::string, Filename_Parser::File_Type> types = {
      {"log_backup_0_0_0_0", Filename_Parser::TYPE_CATALOG},
      {"log_backup_0_0_0_0.1", Filename_Parser::TYPE_LOG},
      {"log_backup_P_databackup_0_1", Filename_Parser::TYPE_LOG},
      {"/backup/log_backup_1_0_0_0.1", Filename_Parser::TYPE_UNKNOWN},
      {"", Filename_Parser::TYPE_UNKNOWN},
      {"/backint/DB_TEN1/MONTHLY_databackup_3_1", Filename_Parser::TYPE_FULL_BACKUP},
      {"P_databackup_incremental_1_2_3_1", Filename_Parser::TYPE_INCREMENTAL_BACKUP},
      {"P_databackup_incremental_databackup_differential_", Filename_Parser::TYPE_DIFFERENTIAL_BACKUP},
      {"P_databackup_Incremental_1_2_3_1", Filename_Parser::TYPE_FULL_BACKUP},
  };
  for (const auto& [name, type] : types)
    EXPECT_EQ(Filename_Parser().type(name), type) << name;
}

// A log backup's volume is its id and a delta backup's partition is its base, deliberately.
TEST(FilenameParser, each_number_of_a_name_has_its_field_and_a_refused_name_leaves_them) {
  test::Log_Capture told;
  Filename_Parser::Log_File_Entry log{};
  EXPECT_TRUE(Filename_Parser().parse_log_file("/backup/log_backup_1_2_3_4.5", log));
  EXPECT_FALSE(Filename_Parser().parse_log_file("log_backup_0_0_0_0", log));
  told.expect_error("Failed to analyse log file name 'log_backup_0_0_0_0'\n");
  EXPECT_EQ(std::tie(log.volume_id, log.partition_id, log.first_position, log.last_position, log.backup_id),
            std::make_tuple(5, 2, 3U, 4U, 5U));

  Filename_Parser::Full_Backup_Entry full{};
  EXPECT_TRUE(Filename_Parser().parse_full_backup_file("/b/P_databackup_3_1", full));
  EXPECT_FALSE(Filename_Parser().parse_full_backup_file("_databackup_1_2", full));
  told.expect_error("Failed to analyse full backup file name '_databackup_1_2'\n");
  EXPECT_EQ(std::tie(full.prefix, full.volume_id, full.partition_id), std::make_tuple("/b/P", 3, 1));

  Filename_Parser::Delta_Backup_Entry delta{};
  EXPECT_TRUE(Filename_Parser().parse_delta_backup_file("P_databackup_incremental_100_200_3_1", delta));
  EXPECT_FALSE(Filename_Parser().parse_delta_backup_file("P_databackup_cumulative_1_2_3_4", delta));
  told.expect_error("Failed to analyse delta backup file name 'P_databackup_cumulative_1_2_3_4'\n");
  EXPECT_EQ(std::tie(delta.prefix, delta.depend_backup_id, delta.backup_id, delta.volume_id, delta.partition_id),
            std::make_tuple("P", 100U, 200U, 3, 100));
}

TEST(FilenameParser, a_megabyte_of_a_name_takes_no_longer_than_its_length_asks) {
  const std::string parts[] = {
      "x", "1", "_databackup_", "_databackup_1_", "_databackup_incremental_1_2_3_", "log_backup_1_0_5_", "log_backup_"};
  for (const std::string& part : parts) {
    std::string middle;
    while (middle.size() < 1'000'000)
      middle += part;
    const auto start = std::chrono::steady_clock::now();

    for (const std::string begin : {"", "log_backup_1_0_5_", "P_databackup_incremental_1_2_"}) {
      test::Log_Capture log;
      Filename_Parser::Log_File_Entry log_entry{};
      Filename_Parser::Full_Backup_Entry full{};
      Filename_Parser::Delta_Backup_Entry delta{};
      EXPECT_TRUE(Filename_Parser().parse_log_file(begin + middle + "log_backup_1_0_5_6.7", log_entry)) << part;
      EXPECT_TRUE(Filename_Parser().parse_full_backup_file(begin + middle + "_databackup_8_9", full)) << part;
      EXPECT_FALSE(Filename_Parser().parse_delta_backup_file(begin + middle, delta)) << part;
      log.take();
    }

    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(6)) << part;
  }
}

}  // namespace
