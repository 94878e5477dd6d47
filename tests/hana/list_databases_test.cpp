#include "hana/common/list_databases.h"

#include <gtest/gtest.h>

#include <tuple>

#include "hana/common/list_schema.h"
#include "platform/instances/instance_manager.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_hdbsql.h"

namespace {

using sap_hana::Database_Info;
using sap_hana::Database_Info_List;
using sap_hana::Database_Lister;
using sap_hana::Database_Scheme_Base_Info_List;
using sap_hana::Schema_Lister;

// Two texts and a flag: name, description and state of a database; name, owner and privilege of a schema.
using Row = std::tuple<std::string, std::string, bool>;
using Rows = std::vector<Row>;

// Both listers read rows of three quoted fields; what runs behind them is a scripted hdbsql.
class Listers : public ::testing::Test {
 protected:
  Listers() {
    platform::Instance instance;
    instance.set_option("sid", "HXE");
    instance.set_option("instance_number", 90);
    instance.set_option("instance_name", "HDB90");
    instance.set_option("localhost", "hxehost");
    instance.set_option("dir_executable", hdbsql_.directory());
    instance.set_option("multi_container", true);
    platform::Instance_Manager::instance()->add("hana", "HXE_HDB90", instance);
  }
  ~Listers() override { platform::Instance_Manager::instance()->remove("hana", "HXE_HDB90"); }

  Rows databases(const std::string& output) {
    hdbsql_.answer("select", output);
    Database_Info_List infos{Database_Info()};  // not empty, so that no database is made up
    sap_hana::HDBSQL_Executor executor = hdbsql_.executor();
    EXPECT_TRUE(Database_Lister(executor).list(infos, ""));
    infos.pop_front();
    Rows rows;
    for (const Database_Info& info : infos)
      rows.emplace_back(info.name, info.description, info.active);
    return rows;
  }

  Rows schemas(const std::string& output) {
    hdbsql_.answer("SELECT", output);
    Database_Scheme_Base_Info_List infos;
    EXPECT_TRUE(Schema_Lister("HXE", "HDB90", "SYSTEM", "Secret1").list_schema("", infos));
    Rows rows;
    for (const auto& info : infos)
      rows.emplace_back(info.name, info.owner, info.has_privileges);
    return rows;
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
  const struct {
    const char* name;
    std::string output;
    Rows rows;
  } cases[] = {
      {"as hdbsql prints",
       "A,B,C\n\"SYSTEMDB\",\"SystemDB-HXE-90\",\"YES\"\n\"TEN1\",\"\",\"NO\"\n\n2 rows selected (overall time 1 "
       "msec)\n",
       {{"SYSTEMDB", "SystemDB-HXE-90", true}, {"TEN1", "", false}}},
      {"no final newline, carriage returns",
       "\"A\",\"B\",\"YES\"\r\n\"C\",\"D\",\"YES\"",
       {{"A", "B", true}, {"C", "D", true}}},
      {"a NULL or a number is no quoted field", "\"A\",?,\"YES\"\n\"A\",5,\"YES\"\n0 rows affected (x)\n", {}},
      {"more fields go to the first", "\"A\",\"B\",\"C\",\"YES\"\n", {{"A\",\"B", "C", true}}},
      {"commas and quotes inside", R"("A,B","say \"hi\", twice","YES")", {{"A,B", R"(say \"hi\", twice)", true}}},
      {"found inside a line", "* note: \"A\",\"B\",\"YES\" *\n", {{"A", "B", true}}},
      {"NUL bytes", "\"A" + nul + "\",\"" + nul + "\",\"YES\"\n", {{"A" + nul, nul, true}}},
      {"a megabyte of a field", "\"" + megabyte + "\",\"B\",\"YES\"\n", {{megabyte, "B", true}}},
      {"hostile lines",
       quotes + "\n\"A\",\"B\",\"YES\"\n" + megabyte + "\n" + pairs + "\n" + quotes + quotes +
           "\"x\n\"C\",\"D\",\"YES\"\n",
       {{"A", "B", true}, {"C", "D", true}}},
      {"a row behind quotes", quotes + ",\"B\",\"YES\"\n", {{quotes.substr(2), "B", true}}},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(databases(c.output) == c.rows) << c.name;

    std::string privileges = c.output;
    for (std::size_t at = 0; (at = privileges.find("YES", at)) != std::string::npos; at += 3)
      privileges.replace(at, 3, "TRUE");
    EXPECT_TRUE(schemas(privileges) == c.rows) << c.name;
  }
}

TEST_F(Listers, a_database_is_active_for_yes_and_a_schema_has_privileges_for_anything_with_t) {
  const auto row = [](const std::string& text) { return "\"A\",\"B\",\"" + text + "\"\n"; };
  const struct {
    const char* text;
    bool active;
    bool privileges;
  } cases[] = {{"YES", true, false}, {"yes", false, false}, {"NO", false, false},   {"YES ", false, false},
               {"", false, false},   {"TRUE", false, true}, {"true", false, false}, {"T", false, true}};
  for (const auto& c : cases) {
    EXPECT_EQ(databases(row(c.text)), (Rows{{"A", "B", c.active}})) << c.text;
    EXPECT_EQ(schemas(row(c.text)), (Rows{{"A", "B", c.privileges}})) << c.text;
  }
}

TEST_F(Listers, lists_are_appended_to_and_the_statements_are_these) {
  const std::string row = "\"A\",\"B\",\"YES\"\n";
  hdbsql_.answer("select", row);
  hdbsql_.answer("SELECT", row);
  Database_Info_List infos;
  Database_Scheme_Base_Info_List schemas;
  Database_Lister databases("HXE", "HDB90", "SYSTEM", "Secret1");
  Schema_Lister lister("HXE", "HDB90", "SYSTEM", "Secret1");

  EXPECT_TRUE(databases.list(infos, ""));
  const auto without_database = hdbsql_.last_run();
  EXPECT_TRUE(databases.list(infos, "TEN'1"));
  EXPECT_TRUE(lister.list_schema("TEN1", schemas));
  const auto with_database = hdbsql_.last_run();
  EXPECT_TRUE(lister.list_schema("", schemas));

  EXPECT_EQ(infos.size(), 2u);
  EXPECT_EQ(schemas.size(), 2u);
  const std::string all = "select DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS from M_DATABASES";
  const std::string of_schemas = "SELECT SCHEMA_NAME, SCHEMA_OWNER, HAS_PRIVILEGES FROM SCHEMAS";
  EXPECT_EQ(hdbsql_.take_statements(),
            (std::vector<std::string>{all, all + " where DATABASE_NAME = 'TEN'1'", of_schemas, of_schemas}));
  EXPECT_EQ(without_database.at(7), "-n");
  EXPECT_EQ(std::vector<std::string>(with_database.begin() + 7, with_database.begin() + 9),
            (std::vector<std::string>{"-d", "TEN1"}));
}

TEST_F(Listers, a_listing_without_rows_makes_one_active_database_up_unless_the_system_is_multiple_container) {
  Database_Info_List infos;
  Database_Info info{};

  EXPECT_TRUE(Database_Lister("HXE", "HDB90", "SYSTEM", "Secret1").list(infos, "TEN1"));
  sap_hana::HDBSQL_Executor executor = hdbsql_.executor();
  EXPECT_TRUE(Database_Lister(executor).list(info, "TEN1"));

  ASSERT_EQ(infos.size(), 1u);
  EXPECT_EQ(std::tie(infos.front().name, infos.front().active), std::make_tuple("HXE", true));
  EXPECT_EQ(std::tie(info.name, info.active), std::make_tuple("", true));  // an executor does not tell its SID
}

TEST_F(Listers, failures_are_logged_in_order_and_keep_what_was_listed) {
  const std::string all = "select DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS from M_DATABASES";
  hdbsql_.answer("select", "\"A\",\"B\",\"YES\"\n", "* 10: gone\n", 1);
  hdbsql_.answer("SELECT", "\"A\",\"B\",\"TRUE\"\n", "* 10: gone\n", 1);
  Database_Info_List infos;
  Database_Scheme_Base_Info_List schemas;
  Database_Info info{};
  info.name = "before";
  sap_hana::HDBSQL_Executor fresh("");

  EXPECT_FALSE(Database_Lister("HXE", "HDB90", "SYSTEM", "Secret1").list(infos, ""));
  log_.expect_error("Failed to execute '" + all + "'\n");
  log_.expect_error("Failed to list HANA database\n");
  EXPECT_EQ(infos.size(), 1u);

  EXPECT_FALSE(Database_Lister(fresh).list(info, ""));
  log_.expect_error("HDBSQL executor need initialize first.\n");
  log_.expect_error("Failed to execute sql '" + all + "'\n");
  log_.expect_error("Failed to list HANA database\n");
  EXPECT_EQ(info.name, "before");

  EXPECT_FALSE(Schema_Lister("HXE", "HDB90", "SYSTEM", "Secret1").list_schema("TEN1", schemas));
  log_.expect_error("Failed to execute 'SELECT SCHEMA_NAME, SCHEMA_OWNER, HAS_PRIVILEGES FROM SCHEMAS'\n");
  log_.expect_error("Failed to list HDB90 schema\n");
  EXPECT_EQ(schemas.size(), 1u);

  EXPECT_FALSE(Schema_Lister("HXE", "HDB90", "SYSTEM", "").list_schema("", schemas));
  log_.expect_error("Failed to initialize hdbsql executor: Lack of necessary information\n");
  log_.expect_error("Failed to list HDB90 schema\n");

  EXPECT_FALSE(Schema_Lister("HXE", "HDB91", "SYSTEM", "Secret1").list_schema("", schemas));
  log_.expect_error("Failed to list HDB91 schema\n");
}

}  // namespace
