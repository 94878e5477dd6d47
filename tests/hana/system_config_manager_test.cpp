#include "hana/common/system_config_manager.h"

#include <gtest/gtest.h>

#include "tests/support/log_capture.h"
#include "tests/support/scripted_hdbsql.h"

namespace {

using sap_hana::System_Config_Manager;

constexpr auto NORMAL = System_Config_Manager::LOG_MODE_NORMAL;
constexpr auto OVERWRITE = System_Config_Manager::LOG_MODE_OVERWRITE;

std::string read_of(const std::string& key) {
  return "SELECT VALUE from M_INIFILE_CONTENTS where key = '" + key + "' and LAYER_NAME = 'SYSTEM'";
}

std::string write_of(const std::string& section, const std::string& key, const std::string& value) {
  return "ALTER SYSTEM ALTER CONFIGURATION ('global.ini', 'SYSTEM') SET ('" + section + "', '" + key + "') = '" +
         value + "' WITH RECONFIGURE";
}

// One operation of the manager, with the setting that it changes.
struct Setting {
  const char* section;
  const char* key;
  const char* failure;  // after "Failed to enable " or "Failed to disable "
  bool (System_Config_Manager::*alter)(bool);
};
const Setting FLAGS[] = {
    {"persistence", "enable_auto_log_backup", "auto log backup", &System_Config_Manager::alter_auto_log_backup},
    {"backup", "log_backup_using_backint", "log backup using backint",
     &System_Config_Manager::alter_log_backup_using_backint},
    {"backup", "catalog_backup_using_backint", "catalog backup using backint",
     &System_Config_Manager::alter_catalog_backup_using_backint},
};

class SystemConfigManager : public ::testing::Test {
 protected:
  System_Config_Manager manager() const { return System_Config_Manager(hdbsql_.executor()); }

  test::Scripted_Hdbsql hdbsql_;
  test::Log_Capture log_;
};

TEST_F(SystemConfigManager, a_flag_is_read_and_written_only_where_it_differs) {
  const struct {
    const char* output;
    bool current;
  } cases[] = {
      {"VALUE\n\"true\"\n\n1 row selected (1 msec)\n", true},
      {"VALUE\n\"YES\"\n", true},
      {"VALUE\n\"false\"\n", false},
      {"VALUE\n\"no\"\n", false},
      {"VALUE\n\"on\"\n", false},
      {"VALUE\n?\n", false},
      {"VALUE\n\"\"\n", false},
      {"VALUE\n\n0 rows selected (1 msec)\n", false},
      {"", false},
      {"VALUE\n\"false\"\n\"true\"\n2 rows selected\n", true},  // the last row counts
      {"KEY,VALUE\n\"true\",\"no\"\n", false},
      {"NAME,OTHER\n\"true\",\"no\"\n", true},  // without the column, the first one counts
  };
  for (const Setting& setting : FLAGS) {
    for (const auto& c : cases) {
      for (const bool action : {false, true}) {
        hdbsql_.answer("SELECT", c.output);
        EXPECT_TRUE((manager().*setting.alter)(action));

        std::vector<std::string> expected = {read_of(setting.key)};
        if (action != c.current) expected.push_back(write_of(setting.section, setting.key, action ? "true" : "false"));
        EXPECT_EQ(hdbsql_.take_statements(), expected) << c.output;
      }
    }
  }
}

TEST_F(SystemConfigManager, a_log_mode_is_read_and_written_only_where_it_differs) {
  const struct {
    const char* output;
    System_Config_Manager::LOG_MODE current;
  } cases[] = {
      {"VALUE\n\"normal\"\n", NORMAL},
      {"VALUE\n\"NORMAL\"\n", NORMAL},
      {"VALUE\n\"OverWrite\"\n", OVERWRITE},
      {"VALUE\n\"legacy\"\n", System_Config_Manager::LOG_MODE_UNKNOWN},
      {"VALUE\n", System_Config_Manager::LOG_MODE_UNKNOWN},
  };
  for (const auto& c : cases) {
    for (const auto mode : {NORMAL, OVERWRITE}) {
      hdbsql_.answer("SELECT", c.output);
      EXPECT_TRUE(manager().alter_log_mode(mode));

      std::vector<std::string> expected = {read_of("log_mode")};
      if (mode != c.current)
        expected.push_back(write_of("persistence", "log_mode", mode == NORMAL ? "normal" : "overwrite"));
      EXPECT_EQ(hdbsql_.take_statements(), expected) << c.output;
    }
  }
}

TEST_F(SystemConfigManager, a_mode_that_is_none_is_refused_without_a_statement) {
  for (const int mode : {0, 3}) {
    EXPECT_FALSE(manager().alter_log_mode(static_cast<System_Config_Manager::LOG_MODE>(mode)));
    log_.expect_error("Failed to alter log mode: unkonwn mode\n");
  }
  EXPECT_EQ(hdbsql_.take_statements(), std::vector<std::string>{});
}

TEST_F(SystemConfigManager, a_read_that_fails_counts_as_off_and_a_write_that_fails_is_the_failure) {
  hdbsql_.answer("SELECT", "VALUE\n\"true\"\n", "* 258: insufficient privilege\n", 1);
  hdbsql_.answer("ALTER", "", "* 258: insufficient privilege\n", 1);
  for (const Setting& setting : FLAGS) {
    EXPECT_TRUE((manager().*setting.alter)(false));
    log_.expect_error("Failed to execute '" + read_of(setting.key) + "'\n");

    EXPECT_FALSE((manager().*setting.alter)(true));
    log_.expect_error("Failed to execute '" + read_of(setting.key) + "'\n");
    log_.expect_error("Failed to execute '" + write_of(setting.section, setting.key, "true") + "'\n");
    log_.expect_error(std::string("Failed to enable ") + setting.failure + "\n");

    hdbsql_.answer("SELECT", "VALUE\n\"yes\"\n");
    EXPECT_FALSE((manager().*setting.alter)(false));
    log_.expect_error("Failed to execute '" + write_of(setting.section, setting.key, "false") + "'\n");
    log_.expect_error(std::string("Failed to disable ") + setting.failure + "\n");
    hdbsql_.answer("SELECT", "", "", 1);
  }
  EXPECT_FALSE(manager().alter_log_mode(OVERWRITE));
  log_.expect_error("Failed to execute '" + read_of("log_mode") + "'\n");
  log_.expect_error("Failed to execute '" + write_of("persistence", "log_mode", "overwrite") + "'\n");
  log_.expect_error("Failed to alter log mode to overwrite\n");
}

TEST_F(SystemConfigManager, an_executor_that_was_never_initialized_fails_what_has_to_be_written) {
  System_Config_Manager lost((sap_hana::HDBSQL_Executor("")));
  const auto expect_refused = [&](const std::string& sql) {
    log_.expect_error("HDBSQL executor need initialize first.\n");
    log_.expect_error("Failed to execute sql '" + sql + "'\n");
  };

  EXPECT_TRUE(lost.alter_auto_log_backup(false));
  expect_refused(read_of("enable_auto_log_backup"));

  EXPECT_FALSE(lost.alter_log_mode(NORMAL));
  expect_refused(read_of("log_mode"));
  expect_refused(write_of("persistence", "log_mode", "normal"));
  log_.expect_error("Failed to alter log mode to normal\n");
}

}  // namespace
