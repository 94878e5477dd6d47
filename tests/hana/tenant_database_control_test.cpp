#include "hana/common/tenant_database_control.h"

#include <gtest/gtest.h>

#include "platform/instances/instance_manager.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_hdbsql.h"

namespace {

using sap_hana::Tenant_Database_Controller;

std::string listing_of(const std::string& name) {
  return "select DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS from M_DATABASES where DATABASE_NAME = '" + name + "'";
}

class TenantDatabaseController : public ::testing::Test {
 protected:
  test::Scripted_Hdbsql hdbsql_;
  test::Log_Capture log_;
};

TEST_F(TenantDatabaseController, a_statement_is_run_only_where_the_state_is_another) {
  const struct {
    const char* listing;
    bool active;
  } cases[] = {
      {"\"TEN1\",\"\",\"YES\"\n", true},
      {"\"TEN1\",\"\",\"NO\"\n", false},
      {"", true},  // nothing listed, and no configuration says multiple-container: made up, and active
  };
  for (const auto& c : cases) {
    hdbsql_.answer("select", c.listing);
    sap_hana::HDBSQL_Executor executor = hdbsql_.executor();
    Tenant_Database_Controller controller(executor);

    EXPECT_TRUE(controller.start("TEN1"));
    const auto starting = hdbsql_.take_statements();
    EXPECT_TRUE(controller.stop("TEN1"));
    const auto stopping = hdbsql_.take_statements();

    using Statements = std::vector<std::string>;
    const Statements listed = {listing_of("TEN1")};
    const Statements started = {listing_of("TEN1"), "ALTER SYSTEM START DATABASE TEN1"};
    const Statements stopped = {listing_of("TEN1"), "ALTER SYSTEM STOP DATABASE TEN1"};
    EXPECT_EQ(starting, c.active ? listed : started) << c.listing;
    EXPECT_EQ(stopping, c.active ? stopped : listed) << c.listing;
  }
}

TEST_F(TenantDatabaseController, a_listing_that_fails_counts_as_stopped) {
  hdbsql_.answer("select", "", "* 258: insufficient privilege\n", 1);
  hdbsql_.answer("ALTER", "", "* 1: cannot\n", 1);
  sap_hana::HDBSQL_Executor executor = hdbsql_.executor();
  Tenant_Database_Controller controller(executor);

  EXPECT_TRUE(controller.stop("TEN1"));
  log_.expect_error("Failed to execute '" + listing_of("TEN1") + "'\n");
  log_.expect_error("Failed to list HANA database\n");

  EXPECT_FALSE(controller.start("TEN1"));
  log_.expect_error("Failed to execute '" + listing_of("TEN1") + "'\n");
  log_.expect_error("Failed to list HANA database\n");
  log_.expect_error("Failed to execute 'ALTER SYSTEM START DATABASE TEN1'\n");
}

TEST_F(TenantDatabaseController, a_long_name_is_cut_inside_the_statement) {
  hdbsql_.answer("select", "\"A\",\"B\",\"NO\"\n");
  sap_hana::HDBSQL_Executor executor = hdbsql_.executor();
  const std::string name(300, 'N');

  EXPECT_TRUE(Tenant_Database_Controller(executor).start(name));

  const std::string cut = ("ALTER SYSTEM START DATABASE " + name).substr(0, 255);
  EXPECT_EQ(hdbsql_.take_statements(), (std::vector<std::string>{listing_of(name), cut}));
}

TEST_F(TenantDatabaseController, the_sid_is_the_configured_name_and_the_instance_name_is_the_database) {
  platform::Instance instance;
  for (const auto& [key, value] : {std::pair("sid", "HXE"), {"instance_name", "HDB90"}, {"localhost", "hxehost"}})
    instance.set_option(key, value);
  instance.set_option("instance_number", 90);
  instance.set_option("dir_executable", hdbsql_.directory());
  instance.set_option("multi_container", true);
  platform::Instance_Manager::instance()->add("hana", "HXE", instance);
  hdbsql_.answer("select", "\"TEN1\",\"\",\"YES\"\n");

  EXPECT_TRUE(Tenant_Database_Controller("HXE", "SYSTEMDB", "SYSTEM", "Secret1").start("TEN1"));
  const auto run = hdbsql_.last_run();
  EXPECT_EQ(std::vector<std::string>(run.begin() + 7, run.begin() + 9), (std::vector<std::string>{"-d", "SYSTEMDB"}));
  EXPECT_TRUE(platform::Instance_Manager::instance()->remove("hana", "HXE"));

  EXPECT_FALSE(Tenant_Database_Controller("HXE", "SYSTEMDB", "SYSTEM", "Secret1").start("TEN1"));
  for (const std::string& sql : {listing_of("TEN1"), std::string("ALTER SYSTEM START DATABASE TEN1")}) {
    log_.expect_error("HDBSQL executor need initialize first.\n");
    log_.expect_error("Failed to execute sql '" + sql + "'\n");
    if (sql == listing_of("TEN1")) log_.expect_error("Failed to list HANA database\n");
  }
}

}  // namespace
