// Statements and their effects on a simulated host, whose hdbsql really evaluates them.

#include <gtest/gtest.h>

#include <fstream>
#include <tuple>

#include "hana/common/hdbsql_general_text_handler.h"
#include "hana/common/list_databases.h"
#include "hana/common/list_instances.h"
#include "hana/common/list_schema.h"
#include "hana/common/system_config_manager.h"
#include "hana/common/tenant_database_control.h"
#include "platform/instances/instance_manager.h"
#include "sandbox/host.h"
#include "tests/support/log_capture.h"

namespace {

using sap_hana::Database_Info;
using sap_hana::System_Config_Manager;
using Statements = std::vector<std::string>;

const std::string LISTING = "select DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS from M_DATABASES";

// A record as discovery makes it, completed by what it does not tell.
Database_Info database(const std::string& sid, const std::string& instance, bool multi_container) {
  Database_Info info{};
  EXPECT_TRUE(sap_hana::System_Instance_Lister().list(info.instance_info, sid, instance));
  info.instance_info.system_info.multi_container = multi_container;
  return info;
}

class Sql : public testing::Test {
 protected:
  sap_hana::HDBSQL_Executor executor(const char* password = "Manager1") {
    sap_hana::HDBSQL_Executor made("");
    EXPECT_TRUE(made.init(database("HXE", "HDB90", true), "SYSTEM", password));
    return made;
  }

  Statements run(bool (System_Config_Manager::*alter)(bool), bool action) {
    EXPECT_TRUE((System_Config_Manager(executor()).*alter)(action));
    return host_.take_statements("HXE");
  }

  sandbox::Host host_;
  test::Log_Capture log_;
};

TEST_F(Sql, a_tenant_that_was_stopped_is_listed_as_stopped_until_it_is_started) {
  sap_hana::HDBSQL_Executor connected = executor();
  sap_hana::Database_Lister lister(connected);
  sap_hana::Tenant_Database_Controller tenants(connected);
  const auto expect_active = [&](const std::string& name, bool active) {
    Database_Info info{};
    ASSERT_TRUE(lister.list(info, name)) << name;
    EXPECT_EQ(std::tie(info.name, info.active), std::tie(name, active));
  };

  for (int round = 0; round < 2; ++round)
    EXPECT_TRUE(tenants.stop("TEN1"));
  expect_active("TEN1", false);
  expect_active("HXE", true);
  for (int round = 0; round < 2; ++round)
    EXPECT_TRUE(tenants.start("TEN1"));
  expect_active("TEN1", true);

  const auto of = [](const std::string& name) { return LISTING + " where DATABASE_NAME = '" + name + "'"; };
  EXPECT_EQ(host_.take_statements("HXE"),
            (Statements{of("TEN1"), "ALTER SYSTEM STOP DATABASE TEN1", of("TEN1"), of("TEN1"), of("HXE"), of("TEN1"),
                        "ALTER SYSTEM START DATABASE TEN1", of("TEN1"), of("TEN1")}));
}

// The lister made from an executor has no SID, and so no system whose configuration says multiple-container.
TEST_F(Sql, an_unlisted_tenant_counts_as_active_where_the_listing_has_no_sid) {
  sap_hana::HDBSQL_Executor connected = executor();
  sap_hana::Tenant_Database_Controller tenants(connected);
  const std::string of_tenant = LISTING + " where DATABASE_NAME = 'TEN9'";
  const std::string stop = "ALTER SYSTEM STOP DATABASE TEN9";

  EXPECT_TRUE(tenants.start("TEN9"));
  EXPECT_FALSE(tenants.stop("TEN9"));
  log_.expect_error("Failed to execute '" + stop + "'\n");

  EXPECT_EQ(host_.take_statements("HXE"), (Statements{of_tenant, of_tenant, stop}));
}

TEST_F(Sql, a_changed_setting_reads_back_and_is_written_once) {
  System_Config_Manager manager(executor());
  const std::string mode = "SELECT VALUE from M_INIFILE_CONTENTS where key = 'log_mode' and LAYER_NAME = 'SYSTEM'";
  EXPECT_TRUE(manager.alter_log_mode(System_Config_Manager::LOG_MODE_NORMAL));
  EXPECT_EQ(host_.take_statements("HXE"), Statements{mode});
  for (int round = 0; round < 2; ++round)
    EXPECT_TRUE(manager.alter_log_mode(System_Config_Manager::LOG_MODE_OVERWRITE));
  EXPECT_EQ(host_.take_statements("HXE"),
            (Statements{mode,
                        "ALTER SYSTEM ALTER CONFIGURATION ('global.ini', 'SYSTEM') SET ('persistence', 'log_mode') = "
                        "'overwrite' WITH RECONFIGURE",
                        mode}));

  const struct {
    bool (System_Config_Manager::*alter)(bool);
    bool before;
  } flags[] = {{&System_Config_Manager::alter_auto_log_backup, true},
               {&System_Config_Manager::alter_log_backup_using_backint, true},
               {&System_Config_Manager::alter_catalog_backup_using_backint, false}};
  for (const auto& flag : flags) {
    EXPECT_EQ(run(flag.alter, flag.before).size(), 1u);
    EXPECT_EQ(run(flag.alter, !flag.before).size(), 2u);
    EXPECT_EQ(run(flag.alter, !flag.before).size(), 1u);
    EXPECT_EQ(run(flag.alter, flag.before).size(), 2u);
  }
}

TEST_F(Sql, configured_instances_list_their_databases_and_schemas) {
  const std::string path = "/usr/sap/instances.ini";
  std::ofstream(path) << "[hana/HXE_HDB90]\nsid = HXE\ninstance_number = 90\ninstance_name = HDB90\n"
                         "localhost = hxehost\ndir_executable = /usr/sap/HXE/HDB90/exe\nmulti_container = true\n";
  ASSERT_TRUE(platform::Instance_Manager::instance()->load(path));
  sap_hana::Database_Info_List databases;
  sap_hana::Database_Scheme_Base_Info_List schemas;

  EXPECT_TRUE(sap_hana::Database_Lister("HXE", "HDB90", "SYSTEM", "Manager1").list(databases, ""));
  EXPECT_TRUE(sap_hana::Schema_Lister("HXE", "HDB90", "SYSTEM", "Manager1").list_schema("TEN1", schemas));
  EXPECT_FALSE(sap_hana::Schema_Lister("HXE", "HDB90", "SYSTEM", "Manager1").list_schema("TEN2", schemas));
  log_.expect_error("Failed to execute 'SELECT SCHEMA_NAME, SCHEMA_OWNER, HAS_PRIVILEGES FROM SCHEMAS'\n");
  log_.expect_error("Failed to list HDB90 schema\n");

  std::string found;
  for (const Database_Info& info : databases)
    found += info.name + "|" + info.description + (info.active ? "|on\n" : "|off\n");
  EXPECT_EQ(found, "SYSTEMDB|SystemDB-HXE-90|on\nHXE|HXE-90|on\nTEN1|Sales, north|on\nTEN2|Archive|off\n");
  ASSERT_EQ(schemas.size(), 1u);
  EXPECT_EQ(schemas.front().name + "|" + schemas.front().owner, "SALES|SALES_OWNER");

  databases.clear();
  EXPECT_TRUE(sap_hana::Database_Lister("HXE", "HDB90", "SYSTEM", "Manager1").list(databases, "TEN9"));
  EXPECT_TRUE(databases.empty());
  platform::Instance_Manager::instance()->remove("hana", "HXE_HDB90");
}

TEST_F(Sql, what_hdbsql_refuses_is_told_without_the_password) {
  sap_hana::HDBSQL_General_Text_Handler rows;
  EXPECT_FALSE(executor("WrongSecret").execute("SELECT * FROM DUMMY", &rows, platform::ACE_Log_Msg_Callback_var()));
  log_.expect_error("Failed to execute 'SELECT * FROM DUMMY'\n");

  host_.stop("HXE", "HDB90", "hdbindexserver");
  EXPECT_FALSE(executor().execute("SELECT * FROM DUMMY", &rows, platform::ACE_Log_Msg_Callback_var()));
  log_.expect_error("Failed to execute 'SELECT * FROM DUMMY'\n");

  EXPECT_TRUE(rows.get_key().empty());
  std::string told;
  for (const std::string& text : log_.take_debug())
    told += text;
  EXPECT_NE(told.find("* 10: authentication failed SQLSTATE: 28000\n"), std::string::npos) << told;
  EXPECT_NE(told.find("Connection refused"), std::string::npos) << told;
  EXPECT_EQ(told.find("WrongSecret"), std::string::npos);
  EXPECT_EQ(told.find("Manager1"), std::string::npos);
}

}  // namespace
