// Statements and their effects on a simulated host, whose hdbsql really evaluates them.

#include "hana/common/list_databases.h"
#include "hana/common/list_instances.h"
#include "hana/common/tenant_database_control.h"
#include "platform/instances/instance_manager.h"
#include "sandbox/host.h"
#include "tests/support/test.h"

namespace {

using sap_hana::Database_Info;
using Statements = std::vector<std::string>;

const std::string LISTING = "select DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS from M_DATABASES";

class Sql : public testing::Test {
 protected:
  // Connected to an instance as discovery finds it, completed by what that does not tell.
  sap_hana::HDBSQL_Executor executor(const char* password = "Manager1") {
    Database_Info info{};
    EXPECT_TRUE(sap_hana::System_Instance_Lister().list(info.instance_info, "HXE", "HDB90"));
    info.instance_info.system_info.multi_container = true;
    sap_hana::HDBSQL_Executor made("");
    EXPECT_TRUE(made.init(info, "SYSTEM", password));
    return made;
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
TEST_F(Sql, an_unlisted_tenant_counts_as_active_and_a_long_name_is_cut_inside_the_statement) {
  sap_hana::HDBSQL_Executor connected = executor();
  sap_hana::Tenant_Database_Controller tenants(connected);
  const std::string name(300, 'N');

  EXPECT_TRUE(tenants.start(name));
  EXPECT_TRUE(host_.take_statements("HXE") == Statements{LISTING + " where DATABASE_NAME = '" + name + "'"});
  EXPECT_FALSE(tenants.stop(name));
  log_.expect_error("Failed to execute '" + ("ALTER SYSTEM STOP DATABASE " + name).substr(0, 255) + "'\n");
}

TEST_F(Sql, a_listing_that_fails_counts_as_stopped) {
  sap_hana::HDBSQL_Executor refused = executor("WrongSecret");
  const auto expect_no_listing = [&] {
    log_.expect_error("Failed to execute '" + LISTING + " where DATABASE_NAME = 'TEN1''\n");
    log_.expect_error("Failed to list HANA database\n");
  };

  EXPECT_TRUE(sap_hana::Tenant_Database_Controller(refused).stop("TEN1"));
  expect_no_listing();
  EXPECT_FALSE(sap_hana::Tenant_Database_Controller(refused).start("TEN1"));
  expect_no_listing();
  log_.expect_error("Failed to execute 'ALTER SYSTEM START DATABASE TEN1'\n");
  sap_hana::HDBSQL_Executor connected = executor();
  EXPECT_FALSE(sap_hana::Tenant_Database_Controller(connected).start(std::string("TEN1\0OTHER", 10)));
  log_.expect_error("Failed to execute '" + LISTING + " where DATABASE_NAME = 'TEN1'\n");
  log_.expect_error("Failed to list HANA database\n");
  log_.expect_error("Failed to execute 'ALTER SYSTEM START DATABASE TEN1'\n");
}

TEST_F(Sql, nothing_is_made_up_for_a_multiple_container_system_and_tenants_are_controlled_through_its_sid_alone) {
  const std::string path = "/usr/sap/instances.ini";
  std::ofstream(path) << "[hana/HXE]\nsid = HXE\ninstance_number = 90\ninstance_name = HDB90\nlocalhost = hxehost\n"
                         "dir_executable = /usr/sap/HXE/HDB90/exe\nmulti_container = true\n";
  platform::Instance_Manager& instances = *platform::Instance_Manager::instance();
  ASSERT_TRUE(instances.load(path));
  instances.add("hana", "HXE_HDB90", instances.find("hana", "HXE"));

  sap_hana::Database_Info_List databases;
  EXPECT_TRUE(sap_hana::Database_Lister("HXE", "HDB90", "SYSTEM", "Manager1").list(databases, "TEN9"));
  EXPECT_TRUE(databases.empty());

  // Deliberately the name "HXE" where all others look up "HXE_HDB90", and then a database's name.
  EXPECT_TRUE(sap_hana::Tenant_Database_Controller("HXE", "SYSTEMDB", "SYSTEM", "Manager1").start("TEN1"));
  EXPECT_FALSE(sap_hana::Tenant_Database_Controller("HXE", "HDB90", "SYSTEM", "Manager1").start("TEN1"));
  EXPECT_EQ(log_.take().size(), 3U);

  instances.remove("hana", "HXE");
  EXPECT_FALSE(sap_hana::Tenant_Database_Controller("HXE", "SYSTEMDB", "SYSTEM", "Manager1").start("TEN1"));
  EXPECT_EQ(log_.take().size(), 5U);
}

}  // namespace
