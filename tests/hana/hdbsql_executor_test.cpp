#include "hana/common/hdbsql_executor.h"

#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Record.h>
#include <gtest/gtest.h>

#include <boost/algorithm/string/join.hpp>

#include "hana/common/hdbsql_general_text_handler.h"
#include "platform/instances/instance_manager.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_hdbsql.h"

namespace {

using sap_hana::Database_Info;
using sap_hana::HDBSQL_Executor;

class HdbsqlExecutor : public ::testing::Test {
 protected:
  void TearDown() override { platform::Instance_Manager::instance()->remove("hana", "HXE_HDB90"); }

  static bool init(HDBSQL_Executor& executor, const platform::Instance& instance) {
    platform::Instance_Manager::instance()->add("hana", "HXE_HDB90", instance);
    return executor.init("HXE", "HDB90", "SYSTEMDB", "SYSTEM", "Secret1");
  }

  // Its library path, then its arguments.
  std::string last_run() const { return boost::join(hdbsql_.last_run(), "#"); }

  test::Scripted_Hdbsql hdbsql_;
  test::Log_Capture log_;
};

TEST_F(HdbsqlExecutor, arguments_and_library_path_follow_from_the_record) {
  const auto run = [&](std::uint16_t number, bool multi_container, const char* database) {
    Database_Info info = hdbsql_.database();
    info.instance_info.instance_number = number;
    info.instance_info.system_info.multi_container = multi_container;
    info.name = database;
    HDBSQL_Executor executor("");
    EXPECT_TRUE(executor.init(info, "Backup User", "a b'c$(d);e\\f|*"));
    EXPECT_TRUE(executor.execute("SELECT 'it''s' FROM DUMMY", nullptr));
    return last_run();
  };
  const std::string user = hdbsql_.directory() + "#-u#Backup User#-p#a b'c$(d);e\\f|*";
  const std::string sql = "#SELECT 'it''s' FROM DUMMY";
  EXPECT_EQ(run(90, true, "SYSTEMDB"), user + "#-i#90#-d#SYSTEMDB#-n#hxehost:39013" + sql);
  EXPECT_EQ(run(0, true, "TEN1"), user + "#-i#0#-d#TEN1#-n#hxehost:30013" + sql);
  EXPECT_EQ(run(2, false, ""), user + "#-i#2#-n#hxehost:30215" + sql);
}

TEST_F(HdbsqlExecutor, a_second_init_moves_everything_but_hdbsql_itself_also_in_a_copy) {
  const test::Scripted_Hdbsql other;
  HDBSQL_Executor executor = hdbsql_.executor();
  Database_Info info = other.database();
  info.instance_info.system_info.localhost = "other";
  ASSERT_TRUE(executor.init(info, "BACKUP", "Secret2"));
  HDBSQL_Executor copy(executor);

  EXPECT_TRUE(copy.execute("SELECT 1", nullptr));

  EXPECT_EQ(last_run(), other.directory() + "#-u#BACKUP#-p#Secret2#-i#90#-n#other:39013#SELECT 1");
}

// A number of 16 bits is what it is kept in, deliberately whatever number is configured.
TEST_F(HdbsqlExecutor, a_configured_instance_is_found_by_sid_and_instance_name_and_needs_every_option) {
  platform::Instance instance = hdbsql_.configured();
  instance.set_option("instance_number", 65541);
  HDBSQL_Executor executor(hdbsql_.tool());
  ASSERT_TRUE(init(executor, instance));
  EXPECT_TRUE(executor.execute("SELECT 1", nullptr));
  EXPECT_EQ(last_run(), hdbsql_.directory() + "#-u#SYSTEM#-p#Secret1#-i#5#-d#SYSTEMDB#-n#hxehost:30513#SELECT 1");

  const std::vector<std::string> keys = {"sid",       "instance_number", "instance_name",
                                         "localhost", "dir_executable",  "multi_container"};
  for (const std::string& missing : keys) {
    platform::Instance incomplete;
    for (const std::string& key : keys) {
      if (key != missing) incomplete.set_option(key, 1);
    }
    EXPECT_FALSE(init(executor, incomplete)) << missing;
    log_.expect_error("Failed to initialize hdbsql execute 'HXE_HDB90': failed to get instance info\n");
  }
  EXPECT_FALSE(executor.init("HXE", "HDB91", "", "SYSTEM", "Secret1"));  // told by the caller
}

TEST_F(HdbsqlExecutor, an_init_that_lacks_something_fails_and_leaves_the_executor_as_it_was) {
  HDBSQL_Executor executor = hdbsql_.executor();
  const std::string lack = "Failed to initialize hdbsql executor: Lack of necessary information\n";
  const std::string empty = "Failed to init HDBSQL executor: username or password empty\n";
  const std::pair<bool, std::string> cases[] = {
      {executor.init("", "HDB90", "D", "U", "P"), lack}, {executor.init("HXE", "", "D", "U", "P"), lack},
      {executor.init("", "D", "U", "P"), lack},          {executor.init("HXE_HDB90", "D", "", "P"), lack},
      {executor.init("HXE_HDB90", "D", "U", ""), lack},  {executor.init(Database_Info{}, "", "P"), empty},
      {executor.init(Database_Info{}, "U", ""), empty},
  };
  for (const auto& [result, message] : cases) {
    EXPECT_FALSE(result);
    log_.expect_error(message);
  }

  EXPECT_TRUE(executor.execute("SELECT 1", nullptr));
  EXPECT_EQ(hdbsql_.last_run().at(2), "SYSTEM");
}

TEST_F(HdbsqlExecutor, what_cannot_be_run_is_refused_in_order_handler_init_statement) {
  HDBSQL_Executor executor("");
  platform::Text_Process_Handler handler(0);

  EXPECT_FALSE(executor.execute("SELECT 1", nullptr, nullptr));
  log_.expect_precondition("handler is NULL");
  for (const bool with_handler : {true, false}) {
    EXPECT_FALSE(with_handler ? executor.execute("", &handler, nullptr) : executor.execute("", nullptr));
    log_.expect_error("HDBSQL executor need initialize first.\n");
    log_.expect_error("Failed to execute sql ''\n");
  }

  executor = hdbsql_.executor();
  EXPECT_FALSE(executor.execute("", nullptr));
  log_.expect_error("Failed to execute sql: sql is empty\n");
  EXPECT_FALSE(executor.execute(std::string("DELETE\0 WHERE", 13), nullptr));
  log_.expect_error("Failed to execute 'DELETE'\n");
  const std::string nul(1, '\0');
  const auto refused = [&](const std::string& database, const std::string& user,
                           const platform::secure_string& password, const std::string& host,
                           const std::string& directory) {
    Database_Info info = hdbsql_.database();
    info.name = database;
    info.instance_info.system_info.localhost += host;
    info.instance_info.dir_executable += directory;
    HDBSQL_Executor made("");
    EXPECT_TRUE(made.init(info, user, password));
    EXPECT_FALSE(made.execute("SELECT 1", nullptr));
    log_.expect_error("Failed to execute 'SELECT 1'\n");
  };
  refused("TEN1" + nul + "X", "U", "P", "", "");
  refused("", "U" + nul, "P", "", "");
  refused("", "U", {"", 1}, "", "");
  refused("", "U", "P", nul, "");
  refused("", "U", "P", "", nul);
  executor = hdbsql_.executor();
  const std::string long_sql(1024, 'x');
  EXPECT_FALSE(executor.execute(long_sql, nullptr));
  log_.expect_error("Failed to execute '" + long_sql + "'\n");
  EXPECT_EQ(hdbsql_.take_statements(), std::vector<std::string>{});
}

TEST_F(HdbsqlExecutor, a_failed_run_keeps_the_rows_before_it_and_its_cause_goes_to_the_callback_or_the_log) {
  class Collector : public ACE_Log_Msg_Callback {
   public:
    void log(ACE_Log_Record& record) override { text += record.msg_data(); }
    std::string text;
  };
  const auto collector = std::make_shared<Collector>();
  hdbsql_.answer("SELECT", "VALUE\n\"one\"\n", "* -10709: Connection failed\n,  rc=111:refused)\n", 3);
  HDBSQL_Executor executor = hdbsql_.executor();
  sap_hana::HDBSQL_General_Text_Handler rows;

  EXPECT_FALSE(executor.execute("SELECT VALUE", &rows, nullptr));
  EXPECT_FALSE(executor.execute("SELECT VALUE", collector));

  EXPECT_EQ(rows.get_values(), (sap_hana::HDBSQL_General_Text_Handler::values_list_type{{"one"}}));
  std::string told;
  for (const std::string& text : log_.take_debug())
    told += text;
  EXPECT_EQ(told, "* -10709: Connection failed\n,  rc=111:refused)\n'" + hdbsql_.tool() + "' exited with status 3\n");
  EXPECT_EQ(collector->text, told);
  for (int run = 0; run < 2; ++run)
    log_.expect_error("Failed to execute 'SELECT VALUE'\n");
}

TEST(HdbsqlGeneralTextHandler, positions_lie_inside_every_row_however_wide_the_header_is) {
  std::string fields = "f";
  while (fields.size() < 2 * 65535 - 1)
    fields += ",f";
  struct Handler : sap_hana::HDBSQL_General_Text_Handler {
    int take(const std::string& line) { return handle_stdout_line(line.data(), line.size()); }
    using HDBSQL_General_Text_Handler::handle_stdout_line;
  } handler;

  EXPECT_EQ(handler.take(fields + ",f"), -1);
  EXPECT_TRUE(handler.get_key().empty());

  EXPECT_EQ(handler.take(fields), 0);
  EXPECT_EQ(handler.take(fields), 0);
  EXPECT_EQ(handler.take(fields + ",f"), -1);
  EXPECT_EQ(handler.handle_stdout_line(nullptr, 3), -1);
  ASSERT_EQ(handler.get_values().size(), 1u);
  EXPECT_EQ(handler.get_values().front().size(), 65535u);
}

}  // namespace
