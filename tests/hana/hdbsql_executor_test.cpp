#include "hana/common/hdbsql_executor.h"

#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Record.h>
#include <gtest/gtest.h>

#include "hana/common/hdbsql_general_text_handler.h"
#include "platform/instances/instance_manager.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_hdbsql.h"

namespace {

using platform::ACE_Log_Msg_Callback_var;
using sap_hana::Database_Info;
using sap_hana::HDBSQL_Executor;

const ACE_Log_Msg_Callback_var NO_CALLBACK;

class HdbsqlExecutor : public ::testing::Test {
 protected:
  void TearDown() override { platform::Instance_Manager::instance()->remove("hana", "HXE_HDB90"); }

  // A complete configured instance, so far as nothing is left out.
  platform::Instance_var configured() const {
    auto instance = std::make_shared<platform::Instance>();
    instance->set_option("sid", "HXE");
    instance->set_option("instance_number", 90);
    instance->set_option("instance_name", "HDB90");
    instance->set_option("localhost", "hxehost");
    instance->set_option("dir_executable", hdbsql_.directory());
    instance->set_option("multi_container", true);
    return instance;
  }

  bool init(HDBSQL_Executor& executor, const platform::Instance_var& instance, const std::string& database) {
    platform::Instance_Manager::instance()->add("hana", "HXE_HDB90", instance);
    return executor.init("HXE", "HDB90", database, "SYSTEM", "Secret1");
  }

  test::Scripted_Hdbsql hdbsql_;
  test::Log_Capture log_;
};

TEST_F(HdbsqlExecutor, arguments_and_library_path_follow_from_the_record) {
  const struct {
    const char* name;
    std::uint16_t number;
    bool multi_container;
    const char* database;
    std::vector<std::string> arguments;  // between the password and the statement
  } cases[] = {
      {"system database", 90, true, "SYSTEMDB", {"-i", "90", "-d", "SYSTEMDB", "-n", "hxehost:39013"}},
      {"a tenant is reached through the same port", 0, true, "TEN1", {"-i", "0", "-d", "TEN1", "-n", "hxehost:30013"}},
      {"no database", 5, true, "", {"-i", "5", "-n", "hxehost:30513"}},
      {"single container", 2, false, "", {"-i", "2", "-n", "hxehost:30215"}},
  };
  for (const auto& c : cases) {
    Database_Info info = hdbsql_.database();
    info.instance_info.instance_number = c.number;
    info.instance_info.system_info.multi_container = c.multi_container;
    info.name = c.database;
    HDBSQL_Executor executor("");
    ASSERT_TRUE(executor.init(info, "Backup User", "a b'c$(d);e\\f|*"));

    EXPECT_TRUE(executor.execute("SELECT 'it''s' FROM DUMMY", NO_CALLBACK));

    std::vector<std::string> expected = {hdbsql_.directory(), "-u", "Backup User", "-p", "a b'c$(d);e\\f|*"};
    expected.insert(expected.end(), c.arguments.begin(), c.arguments.end());
    expected.push_back("SELECT 'it''s' FROM DUMMY");
    EXPECT_EQ(hdbsql_.last_run(), expected) << c.name;
  }
}

TEST_F(HdbsqlExecutor, a_second_init_moves_everything_but_hdbsql_itself) {
  const test::Scripted_Hdbsql other;
  HDBSQL_Executor executor("");
  ASSERT_TRUE(executor.init(hdbsql_.database(), "SYSTEM", "Secret1"));
  Database_Info info = other.database();
  info.instance_info.system_info.localhost = "other";
  info.instance_info.instance_number = 1;
  ASSERT_TRUE(executor.init(info, "BACKUP", "Secret2"));

  EXPECT_TRUE(executor.execute("SELECT 1", NO_CALLBACK));

  EXPECT_EQ(hdbsql_.last_run(), (std::vector<std::string>{other.directory(), "-u", "BACKUP", "-p", "Secret2", "-i", "1",
                                                          "-n", "other:30113", "SELECT 1"}));
  EXPECT_TRUE(other.last_run().empty());
}

TEST_F(HdbsqlExecutor, a_path_given_at_construction_is_kept_and_a_copy_can_do_what_the_original_can) {
  const test::Scripted_Hdbsql other;
  HDBSQL_Executor executor(hdbsql_.tool());
  ASSERT_TRUE(executor.init(other.database(), "SYSTEM", "Secret1"));
  HDBSQL_Executor copy(executor);

  EXPECT_TRUE(copy.execute("SELECT 1", NO_CALLBACK));

  EXPECT_EQ(hdbsql_.take_statements(), std::vector<std::string>{"SELECT 1"});
  EXPECT_EQ(other.take_statements(), std::vector<std::string>{});
}

TEST_F(HdbsqlExecutor, a_configured_instance_is_found_by_sid_and_instance_name) {
  const struct {
    std::uint64_t number;
    const char* argument;
    const char* host;
  } cases[] = {{90, "90", "hxehost:39013"}, {65536, "0", "hxehost:30013"}, {65541, "5", "hxehost:30513"}};
  for (const auto& c : cases) {
    const auto instance = configured();
    instance->set_option("instance_number", c.number);
    HDBSQL_Executor executor("");
    ASSERT_TRUE(init(executor, instance, "SYSTEMDB"));

    EXPECT_TRUE(executor.execute("SELECT 1", NO_CALLBACK));

    EXPECT_EQ(hdbsql_.last_run(), (std::vector<std::string>{hdbsql_.directory(), "-u", "SYSTEM", "-p", "Secret1", "-i",
                                                            c.argument, "-d", "SYSTEMDB", "-n", c.host, "SELECT 1"}));
  }
}

TEST_F(HdbsqlExecutor, an_instance_that_lacks_an_option_is_named_and_an_unknown_one_is_not) {
  const std::string message = "Failed to initialize hdbsql execute 'HXE_HDB90': failed to get instance info\n";
  for (const char* key :
       {"sid", "instance_number", "instance_name", "localhost", "dir_executable", "multi_container"}) {
    const auto instance = std::make_shared<platform::Instance>();
    for (const char* other :
         {"sid", "instance_number", "instance_name", "localhost", "dir_executable", "multi_container"}) {
      if (std::string(other) != key) instance->set_option(other, 1);
    }
    HDBSQL_Executor executor("");
    EXPECT_FALSE(init(executor, instance, "")) << key;
    log_.expect_error(message);
  }
  const auto instance = configured();
  instance->set_option("multi_container", "perhaps");
  HDBSQL_Executor executor("");
  EXPECT_FALSE(init(executor, instance, ""));
  log_.expect_error(message);

  EXPECT_FALSE(executor.init("HXE", "HDB91", "", "SYSTEM", "Secret1"));
  EXPECT_FALSE(executor.init("HXE_HDB91", "", "SYSTEM", "Secret1"));
}

TEST_F(HdbsqlExecutor, an_init_that_lacks_something_fails_and_leaves_the_executor_as_it_was) {
  HDBSQL_Executor executor = hdbsql_.executor();
  const std::string lack = "Failed to initialize hdbsql executor: Lack of necessary information\n";
  const std::string empty = "Failed to init HDBSQL executor: username or password empty\n";
  const struct {
    bool result;
    std::string message;
  } cases[] = {
      {executor.init("", "HDB90", "D", "U", "P"), lack},
      {executor.init("HXE", "", "D", "U", "P"), lack},
      {executor.init("HXE", "HDB90", "D", "", "P"), lack},
      {executor.init("HXE", "HDB90", "D", "U", ""), lack},
      {executor.init("", "D", "U", "P"), lack},
      {executor.init("HXE_HDB90", "D", "", "P"), lack},
      {executor.init("HXE_HDB90", "D", "U", ""), lack},
      {executor.init(Database_Info{}, "", "P"), empty},
      {executor.init(Database_Info{}, "U", ""), empty},
  };
  for (const auto& c : cases) {
    EXPECT_FALSE(c.result);
    log_.expect_error(c.message);
  }

  EXPECT_TRUE(executor.execute("SELECT 1", NO_CALLBACK));
  EXPECT_EQ(hdbsql_.last_run().at(2), "SYSTEM");
}

TEST_F(HdbsqlExecutor, what_cannot_be_run_is_refused_in_order_handler_init_statement) {
  HDBSQL_Executor executor("");
  platform::Text_Process_Handler handler(0);

  EXPECT_FALSE(executor.execute("SELECT 1", nullptr, NO_CALLBACK));
  log_.expect_precondition("handler is NULL");

  EXPECT_FALSE(executor.execute("", NO_CALLBACK));
  log_.expect_error("HDBSQL executor need initialize first.\n");
  log_.expect_error("Failed to execute sql ''\n");

  EXPECT_FALSE(executor.execute("SELECT 1", &handler, NO_CALLBACK));
  log_.expect_error("HDBSQL executor need initialize first.\n");
  log_.expect_error("Failed to execute sql 'SELECT 1'\n");

  executor = hdbsql_.executor();
  EXPECT_FALSE(executor.execute("", NO_CALLBACK));
  log_.expect_error("Failed to execute sql: sql is empty\n");
  EXPECT_FALSE(executor.execute("", &handler, NO_CALLBACK));
  log_.expect_error("Failed to execute sql: sql is empty\n");
  EXPECT_FALSE(executor.execute(std::string("DELETE\0 WHERE", 13), NO_CALLBACK));
  log_.expect_error("Failed to execute 'DELETE'\n");

  EXPECT_EQ(hdbsql_.take_statements(), std::vector<std::string>{});
}

TEST_F(HdbsqlExecutor, a_failed_run_keeps_the_rows_before_it_and_tells_the_cause_but_not_the_password) {
  const std::string error =
      "* 10: authentication failed SQLSTATE: 28000\n"
      "* -10709: Connection failed (RTE:[89006] System call 'connect' failed,\n  rc=111:Connection refused)\n";
  hdbsql_.answer("SELECT", "VALUE\n\"one\"\n", error, 3);
  HDBSQL_Executor executor = hdbsql_.executor();
  sap_hana::HDBSQL_General_Text_Handler rows;

  EXPECT_FALSE(executor.execute("SELECT VALUE", &rows, NO_CALLBACK));

  EXPECT_EQ(rows.get_values(), (sap_hana::HDBSQL_General_Text_Handler::values_list_type{{"one"}}));
  log_.expect_error("Failed to execute 'SELECT VALUE'\n");
  std::string told;
  for (const std::string& text : log_.take_debug())
    told += text;
  EXPECT_EQ(told, error + "'" + hdbsql_.tool() + "' exited with status 3\n");
}

TEST_F(HdbsqlExecutor, a_callers_callback_gets_what_the_child_says) {
  class Collector : public ACE_Log_Msg_Callback {
   public:
    void log(ACE_Log_Record& record) override { text += record.msg_data(); }
    std::string text;
  };
  const auto collector = std::make_shared<Collector>();
  hdbsql_.answer("SELECT", "", "careful", 0);

  EXPECT_TRUE(hdbsql_.executor().execute("SELECT 1", collector));

  EXPECT_EQ(collector->text, "careful\n");
  EXPECT_EQ(log_.take_debug(), std::vector<std::string>{});
}

TEST_F(HdbsqlExecutor, what_does_not_fit_a_command_line_or_names_no_program_is_not_run) {
  HDBSQL_Executor executor = hdbsql_.executor();
  const std::string long_sql(1024, 'x');
  EXPECT_FALSE(executor.execute(long_sql, NO_CALLBACK));
  log_.expect_error("Failed to execute '" + long_sql + "'\n");
  EXPECT_EQ(hdbsql_.take_statements(), std::vector<std::string>{});

  Database_Info nowhere = hdbsql_.database();
  nowhere.instance_info.dir_executable = "/nowhere";
  HDBSQL_Executor lost("");
  ASSERT_TRUE(lost.init(nowhere, "SYSTEM", "Secret1"));
  EXPECT_FALSE(lost.execute("SELECT 1", NO_CALLBACK));
  log_.expect_error("Failed to execute 'SELECT 1'\n");

  for (const std::string& text : log_.take_debug())
    EXPECT_EQ(text.find("Secret1"), std::string::npos) << text;
}

}  // namespace
