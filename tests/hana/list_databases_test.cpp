#include "hana/common/list_databases.h"

#include <gtest/gtest.h>

#include <chrono>
#include <tuple>

#include "hana/common/list_schema.h"
#include "platform/instances/instance_manager.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_hdbsql.h"

namespace {

using sap_hana::Database_Lister;
using sap_hana::Schema_Lister;

const std::string ALL_DATABASES = "select DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS from M_DATABASES";

// Both listers read rows of three quoted fields; what runs behind them is a scripted hdbsql.
class Listers : public ::testing::Test {
 protected:
  Listers() { platform::Instance_Manager::instance()->add("hana", "HXE_HDB90", hdbsql_.configured()); }
  ~Listers() override { platform::Instance_Manager::instance()->remove("hana", "HXE_HDB90"); }

  static Database_Lister database_lister() { return Database_Lister("HXE", "HDB90", "SYSTEM", "Secret1"); }
  static Schema_Lister schema_lister() { return Schema_Lister("HXE", "HDB90", "SYSTEM", "Secret1"); }

  // Name, description and state of every database.
  std::string databases(const std::string& output) {
    hdbsql_.answer("select", output);
    sap_hana::Database_Info_List infos{{}};  // not empty, so that no database is made up
    EXPECT_TRUE(database_lister().list(infos, ""));
    infos.pop_front();
    std::string found;
    for (const auto& info : infos)
      found += info.name + "|" + info.description + (info.active ? "|yes\n" : "|no\n");
    return found;
  }

  // Name, owner and privilege of every schema.
  std::string schemas(const std::string& output) {
    hdbsql_.answer("SELECT", output);
    sap_hana::Database_Scheme_Base_Info_List infos{{}};
    EXPECT_TRUE(schema_lister().list_schema("", infos));
    infos.pop_front();
    std::string found;
    for (const auto& info : infos)
      found += info.name + "|" + info.owner + (info.has_privileges ? "|yes\n" : "|no\n");
    return found;
  }

  test::Scripted_Hdbsql hdbsql_;
  test::Log_Capture log_;
};

TEST_F(Listers, rows_of_three_quoted_fields_are_taken_and_other_lines_are_lost_alone) {
  const std::string quotes(5000, '"');
  const std::string megabyte(1 << 20, 'x');
  const std::string nul(1, '\0');
  std::string pairs;
  while (pairs.size() < megabyte.size())
    pairs += "\" ";
  const std::string output = "A,B,C\n\"A\",\"B\",\"NO\"\r\n\"A\",?,\"NO\"\n\n" + quotes + "\n" + megabyte + "\n" +
                             pairs + "\n" + quotes + quotes + "\"x\n" + quotes + ",\"B\",\"NO\"\n\"" + megabyte +
                             "\",\"B\",\"NO\"\n\"" + nul + "\",\"" + nul + "\",\"NO\"\n\"no newline\",\"\",\"NO\"";
  const std::string rows =
      "A|B|no\n" + quotes.substr(2) + "|B|no\n" + megabyte + "|B|no\n" + nul + "|" + nul + "|no\nno newline||no\n";

  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(databases(output) == rows);
  EXPECT_TRUE(schemas(output) == rows);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST_F(Listers, a_database_is_active_for_yes_and_a_schema_has_privileges_for_anything_with_t) {
  for (const std::string text : {"YES", "yes", "YES ", "NO", "", "TRUE", "true", "T"}) {
    const std::string row = "\"A\",\"B\",\"" + text + "\"\n";
    EXPECT_EQ(databases(row), text == "YES" ? "A|B|yes\n" : "A|B|no\n") << text;
    EXPECT_EQ(schemas(row), text == "TRUE" || text == "T" ? "A|B|yes\n" : "A|B|no\n") << text;
  }
}

TEST_F(Listers, a_listing_without_rows_makes_one_active_database_up) {
  sap_hana::Database_Info_List infos;
  sap_hana::Database_Info info{};
  sap_hana::HDBSQL_Executor executor = hdbsql_.executor();

  EXPECT_TRUE(database_lister().list(infos, "TEN'1"));
  EXPECT_TRUE(Database_Lister(executor).list(info, "TEN1"));

  EXPECT_EQ(hdbsql_.take_statements().at(0), ALL_DATABASES + " where DATABASE_NAME = 'TEN'1'");  // as it is given
  ASSERT_EQ(infos.size(), 1u);
  EXPECT_EQ(std::tie(infos.front().name, infos.front().active), std::make_tuple("HXE", true));
  EXPECT_EQ(std::tie(info.name, info.active), std::make_tuple("", true));  // an executor does not tell its SID
}

TEST_F(Listers, failures_are_logged_in_order_and_keep_what_was_listed) {
  hdbsql_.answer("select", "\"A\",\"B\",\"YES\"\n", "* 10: gone\n", 1);
  hdbsql_.answer("SELECT", "\"A\",\"B\",\"TRUE\"\n", "* 10: gone\n", 1);
  sap_hana::Database_Info_List infos;
  sap_hana::Database_Scheme_Base_Info_List schemas;
  sap_hana::Database_Info info{};
  info.name = "before";

  EXPECT_FALSE(database_lister().list(infos, ""));
  log_.expect_error("Failed to execute '" + ALL_DATABASES + "'\n");
  log_.expect_error("Failed to list HANA database\n");
  EXPECT_EQ(infos.size(), 1u);

  EXPECT_FALSE(database_lister().list(info, ""));
  EXPECT_EQ(log_.take().size(), 2U);
  EXPECT_EQ(info.name, "before");

  EXPECT_FALSE(schema_lister().list_schema("TEN1", schemas));
  log_.expect_error("Failed to execute 'SELECT SCHEMA_NAME, SCHEMA_OWNER, HAS_PRIVILEGES FROM SCHEMAS'\n");
  log_.expect_error("Failed to list HDB90 schema\n");
  EXPECT_EQ(schemas.size(), 1u);

  EXPECT_FALSE(Schema_Lister("HXE", "HDB91", "SYSTEM", "Secret1").list_schema("", schemas));
  log_.expect_error("Failed to list HDB91 schema\n");
}

}  // namespace
