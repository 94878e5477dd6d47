#include "hana/common/system_config_manager.h"

#include <gtest/gtest.h>

#include "tests/support/foreign_locale.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_hdbsql.h"

namespace {

using sap_hana::System_Config_Manager;

class SystemConfigManager : public ::testing::Test {
 protected:
  const test::Foreign_Locale locale_;
  test::Scripted_Hdbsql hdbsql_;
  test::Log_Capture log_;
  System_Config_Manager manager_{hdbsql_.executor()};
};

TEST_F(SystemConfigManager, a_flag_is_written_only_where_it_differs_from_what_is_read) {
  const struct {
    const char* output;
    bool current;
  } cases[] = {
      {"VALUE\n\"true\"\n\n1 row selected (1 msec)\n", true},
      {"VALUE\n\"YES\"\n", true},
      {"VALUE\n\"on\"\n", false},
      {"VALUE\n\n0 rows selected (1 msec)\n", false},
      {"VALUE\n\"false\"\n\"true\"\n2 rows selected\n", true},  // the last row counts
      {"KEY,VALUE\n\"true\",\"no\"\n", false},
      {"NAME,OTHER\n\"true\",\"no\"\n", true},  // without the column, the first one counts
  };
  for (const auto& c : cases) {
    hdbsql_.answer("SELECT", c.output);
    EXPECT_TRUE(manager_.alter_auto_log_backup(c.current));
    EXPECT_EQ(hdbsql_.take_statements().size(), 1U) << c.output;
    EXPECT_TRUE(manager_.alter_auto_log_backup(!c.current));
    EXPECT_EQ(hdbsql_.take_statements().size(), 2U) << c.output;
  }
}

TEST_F(SystemConfigManager, a_read_that_fails_counts_as_off_and_a_write_that_fails_is_the_failure) {
  const struct {
    bool (System_Config_Manager::*alter)(bool);
    std::string setting;
    std::string what;
  } flags[] = {
      {&System_Config_Manager::alter_auto_log_backup, "persistence', 'enable_auto_log_backup", "auto log backup"},
      {&System_Config_Manager::alter_log_backup_using_backint, "backup', 'log_backup_using_backint",
       "log backup using backint"},
      {&System_Config_Manager::alter_catalog_backup_using_backint, "backup', 'catalog_backup_using_backint",
       "catalog backup using backint"},
  };
  hdbsql_.answer("SELECT", "VALUE\n\"true\"\n", "", 1);
  hdbsql_.answer("ALTER", "", "* 258: insufficient privilege\n", 1);
  for (const auto& flag : flags) {
    EXPECT_FALSE((manager_.*flag.alter)(true));
    log_.expect_error("Failed to execute 'SELECT VALUE from M_INIFILE_CONTENTS where key = " +
                      flag.setting.substr(flag.setting.rfind('\'')) + "' and LAYER_NAME = 'SYSTEM''\n");
    log_.expect_error("Failed to execute 'ALTER SYSTEM ALTER CONFIGURATION ('global.ini', 'SYSTEM') SET ('" +
                      flag.setting + "') = 'true' WITH RECONFIGURE'\n");
    log_.expect_error("Failed to enable " + flag.what + "\n");
  }

  hdbsql_.answer("SELECT", "VALUE\n\"NORMAL\"\n");
  EXPECT_TRUE(manager_.alter_log_mode(System_Config_Manager::LOG_MODE_NORMAL));
  EXPECT_FALSE(manager_.alter_log_mode(System_Config_Manager::LOG_MODE_OVERWRITE));
  EXPECT_EQ(log_.take().back().text, "Failed to alter log mode to overwrite\n");
  EXPECT_FALSE(manager_.alter_log_mode(System_Config_Manager::LOG_MODE_UNKNOWN));
  log_.expect_error("Failed to alter log mode: unkonwn mode\n");
}

}  // namespace
