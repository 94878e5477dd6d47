// What is said to hdbsql, and what is made of its answers.

#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Record.h>

#include "hana/common/hdbsql_general_text_handler.h"
#include "hana/common/list_databases.h"
#include "hana/common/list_schema.h"
#include "hana/common/system_config_manager.h"
#include "platform/instances/instance_manager.h"
#include "tests/support/foreign_locale.h"
#include "tests/support/test.h"

namespace {

using namespace sap_hana;

const std::string ALL_DATABASES = "select DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS from M_DATABASES";

// Has an hdbsql that writes down how it was run, and answers each statement by its first word.
class Hdbsql : public testing::Test {
 protected:
  Hdbsql() {
    files_.file("hdbsql",
                "#!/bin/sh\n"
                "cd ${0%/*}\n"
                "for sql; do :; done\n"
                "word=${sql%% *}\n"
                "{ printf '%s' \"$LD_LIBRARY_PATH\"; printf '#%s' \"$@\"; } >run\n"
                "echo \"$sql\" >>statements\n"
                "cat $word.out\n"
                "cat $word.err >&2\n"
                "exit $(cat $word.status)\n");
    std::filesystem::permissions(files_ / "hdbsql", std::filesystem::perms(0755));
    for (const char* word : {"select", "SELECT", "ALTER"})
      answer(word, "");
    configure(options_);
  }

  // What a statement with this first word prints and ends with from now on.
  void answer(const std::string& word, const std::string& output, const std::string& error = "", int status = 0) {
    files_.file(word + ".out", output);
    files_.file(word + ".err", error);
    files_.file(word + ".status", std::to_string(status));
  }

  // An instance whose executables lie here.
  Database_Info database() const {
    Database_Info info{};
    info.instance_info.system_info.sid = "HXE";
    info.instance_info.system_info.localhost = "hxehost";
    info.instance_info.instance_number = 90;
    info.instance_info.system_info.multi_container = true;
    info.instance_info.dir_executable = files_.path();
    return info;
  }

  // Has the host program's record of the instance say this.
  void configure(const std::map<std::string, std::string>& options) const {
    std::string record = "[hana/HXE_HDB90]\n";
    for (const auto& [key, value] : options)
      record += key + " = " + value + "\n";
    EXPECT_TRUE(platform::Instance_Manager::instance()->load(files_.file("instances.ini", record)));
  }

  // Connected to that instance.
  HDBSQL_Executor executor() const {
    HDBSQL_Executor made("");
    EXPECT_TRUE(made.init(database(), "SYSTEM", "Secret1"));
    return made;
  }

  // The last run: its library path, then its arguments.
  std::string last_run() const { return test::content_of(files_ / "run"); }

  // The statements since the last call, each with a newline.
  std::string take_statements() const {
    std::string taken = test::content_of(files_ / "statements");
    files_.file("statements", "");
    return taken;
  }

  const test::Temporary_Directory files_;
  const std::map<std::string, std::string> options_ = {
      {"sid", "HXE"},           {"instance_number", "90"},         {"instance_name", "HDB90"},
      {"localhost", "hxehost"}, {"dir_executable", files_.path()}, {"multi_container", "true"}};
  test::Log_Capture log_;
};

using HdbsqlExecutor = Hdbsql;

TEST_F(HdbsqlExecutor, arguments_and_library_path_follow_from_the_record_of_the_last_init) {
  const auto run = [&](std::uint16_t number, bool multi_container, const char* name) {
    Database_Info info = database();
    info.instance_info.instance_number = number;
    info.instance_info.system_info.multi_container = multi_container;
    info.name = name;
    HDBSQL_Executor executor("");
    EXPECT_TRUE(executor.init(info, "Backup User", "a b'c$(d);e\\f|*"));
    EXPECT_TRUE(executor.execute("SELECT 'it''s' FROM DUMMY", nullptr));
    return last_run();
  };
  const std::string user = files_.path() + "#-u#Backup User#-p#a b'c$(d);e\\f|*";
  const std::string sql = "#SELECT 'it''s' FROM DUMMY";
  EXPECT_EQ(run(90, true, "SYSTEMDB"), user + "#-i#90#-d#SYSTEMDB#-n#hxehost:39013" + sql);
  EXPECT_EQ(run(0, true, "TEN1"), user + "#-i#0#-d#TEN1#-n#hxehost:30013" + sql);
  EXPECT_EQ(run(2, false, ""), user + "#-i#2#-n#hxehost:30215" + sql);

  HDBSQL_Executor moved = executor();
  Database_Info info = database();
  info.instance_info.system_info.localhost = "other";
  info.instance_info.dir_executable = "/other";
  EXPECT_TRUE(moved.init(info, "BACKUP", "Secret2"));
  EXPECT_TRUE(HDBSQL_Executor(moved).execute("SELECT 1", nullptr));  // deliberately still the first one's hdbsql
  EXPECT_EQ(last_run(), "/other#-u#BACKUP#-p#Secret2#-i#90#-n#other:39013#SELECT 1");
}

// A number of 16 bits is what it is kept in, deliberately whatever number is configured.
TEST_F(HdbsqlExecutor, a_configured_instance_is_found_by_sid_and_instance_name_and_needs_every_option) {
  std::map<std::string, std::string> options = options_;
  options["instance_number"] = "65541";
  configure(options);
  HDBSQL_Executor executor(files_ / "hdbsql");
  ASSERT_TRUE(executor.init("HXE", "HDB90", "SYSTEMDB", "SYSTEM", "Secret1"));
  EXPECT_TRUE(executor.execute("SELECT 1", nullptr));
  EXPECT_EQ(last_run(), files_.path() + "#-u#SYSTEM#-p#Secret1#-i#5#-d#SYSTEMDB#-n#hxehost:30513#SELECT 1");

  for (const auto& [missing, value] : options_) {
    options = options_;
    options.erase(missing);
    configure(options);
    EXPECT_FALSE(executor.init("HXE", "HDB90", "SYSTEMDB", "SYSTEM", "Secret1")) << missing;
    log_.expect_error("Failed to initialize hdbsql execute 'HXE_HDB90': failed to get instance info\n");
  }
  EXPECT_FALSE(executor.init("HXE", "HDB91", "", "SYSTEM", "Secret1"));  // told by the caller
}

TEST_F(HdbsqlExecutor, an_init_that_lacks_something_fails_and_leaves_the_executor_as_it_was) {
  HDBSQL_Executor kept = executor();
  const std::string lack = "Failed to initialize hdbsql executor: Lack of necessary information\n";
  const std::string empty = "Failed to init HDBSQL executor: username or password empty\n";
  const std::pair<bool, std::string> cases[] = {
      {kept.init("", "HDB90", "D", "U", "P"), lack}, {kept.init("HXE", "", "D", "U", "P"), lack},
      {kept.init("", "D", "U", "P"), lack},          {kept.init("HXE_HDB90", "D", "", "P"), lack},
      {kept.init("HXE_HDB90", "D", "U", ""), lack},  {kept.init(Database_Info{}, "", "P"), empty},
      {kept.init(Database_Info{}, "U", ""), empty},
  };
  for (const auto& [result, message] : cases) {
    EXPECT_FALSE(result);
    log_.expect_error(message);
  }

  EXPECT_TRUE(kept.execute("SELECT 1", nullptr));
  EXPECT_EQ(last_run(), files_.path() + "#-u#SYSTEM#-p#Secret1#-i#90#-n#hxehost:39013#SELECT 1");
}

TEST_F(HdbsqlExecutor, what_cannot_be_run_is_refused_in_order_handler_init_statement) {
  HDBSQL_Executor made("");
  platform::Text_Process_Handler handler(0);
  EXPECT_FALSE(made.execute("SELECT 1", nullptr, nullptr));
  log_.expect_precondition("handler is NULL");
  for (const bool with_handler : {true, false}) {
    EXPECT_FALSE(with_handler ? made.execute("", &handler, nullptr) : made.execute("", nullptr));
    log_.expect_error("HDBSQL executor need initialize first.\n");
    log_.expect_error("Failed to execute sql ''\n");
  }
  made = executor();
  EXPECT_FALSE(made.execute("", nullptr));
  log_.expect_error("Failed to execute sql: sql is empty\n");

  const std::string nul(1, '\0');
  using std::string;
  const std::tuple<string, string, string, platform::secure_string, string, string> cases[] = {
      {"DELETE" + nul + " WHERE", "", "U", "P", "h", ""},
      {std::string(1024, 'x'), "", "U", "P", "h", ""},
      {"SELECT 1", "T" + nul + "X", "U", "P", "h", ""},
      {"SELECT 1", "", "U" + nul, "P", "h", ""},
      {"SELECT 1", "", "U", {"", 1}, "h", ""},
      {"SELECT 1", "", "U", "P", nul, ""},
      {"SELECT 1", "", "U", "P", "h", nul},
  };
  for (const auto& [sql, database_name, user, password, host, tool] : cases) {
    Database_Info info = database();
    info.name = database_name;
    info.instance_info.system_info.localhost = host;
    info.instance_info.dir_executable += tool;
    HDBSQL_Executor executor("");
    EXPECT_TRUE(executor.init(info, user, password));
    EXPECT_FALSE(executor.execute(sql, nullptr));
    log_.expect_error("Failed to execute '" + sql.substr(0, sql.find('\0')) + "'\n");
  }
  EXPECT_EQ(take_statements(), "");
}

TEST_F(HdbsqlExecutor, a_failed_run_keeps_the_rows_before_it_and_its_cause_goes_to_the_callback_or_the_log) {
  struct Collector : ACE_Log_Msg_Callback {
    void log(ACE_Log_Record& record) override { text += record.msg_data(); }
    std::string text;
  };
  const auto collector = std::make_shared<Collector>();
  HDBSQL_General_Text_Handler rows;
  answer("SELECT", "VALUE\n\"one\"\n", "* -10709: Connection failed\n,  rc=111:refused)\n", 3);

  EXPECT_FALSE(executor().execute("SELECT VALUE", &rows, nullptr));
  log_.expect_error("Failed to execute 'SELECT VALUE'\n");
  EXPECT_FALSE(executor().execute("SELECT VALUE", collector));
  log_.expect_error("Failed to execute 'SELECT VALUE'\n");

  EXPECT_EQ(rows.get_values(), (HDBSQL_General_Text_Handler::values_list_type{{"one"}}));
  std::string told;
  for (const std::string& text : log_.take_debug())
    told += text;
  EXPECT_EQ(told,
            "* -10709: Connection failed\n,  rc=111:refused)\n'" + files_ / "hdbsql" + "' exited with status 3\n");
  EXPECT_EQ(collector->text, told);
}

TEST(HdbsqlGeneralTextHandler, positions_lie_inside_every_row_however_wide_the_header_is) {
  std::string fields = "f";
  while (fields.size() < 2 * 65535 - 1)
    fields += ",f";
  struct Handler : HDBSQL_General_Text_Handler {
    int take(const std::string& line) { return handle_stdout_line(line.data(), line.size()); }
    using HDBSQL_General_Text_Handler::handle_stdout_line;
  } handler;

  EXPECT_EQ(handler.take(fields + ",f"), -1);
  EXPECT_EQ(handler.take(fields) + handler.take(fields), 0);
  EXPECT_EQ(handler.take(fields + ",f"), -1);
  EXPECT_EQ(handler.handle_stdout_line(nullptr, 3), -1);
  EXPECT_EQ(handler.get_values().size(), 1u);
}

// Both listers read rows of three quoted fields.
class Listers : public Hdbsql {
 protected:
  static Database_Lister database_lister() { return Database_Lister("HXE", "HDB90", "SYSTEM", "Secret1"); }
  static Schema_Lister schema_lister() { return Schema_Lister("HXE", "HDB90", "SYSTEM", "Secret1"); }

  // Name, description and state of every database.
  std::string databases(const std::string& output) {
    answer("select", output);
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
    answer("SELECT", output);
    sap_hana::Database_Scheme_Base_Info_List infos;
    EXPECT_TRUE(schema_lister().list_schema("", infos));
    std::string found;
    for (const auto& info : infos)
      found += info.name + "|" + info.owner + (info.has_privileges ? "|yes\n" : "|no\n");
    return found;
  }
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
  Database_Info info{};
  HDBSQL_Executor connected = executor();

  EXPECT_TRUE(database_lister().list(infos, "TEN'1"));
  EXPECT_EQ(take_statements(), ALL_DATABASES + " where DATABASE_NAME = 'TEN'1'\n");  // as it is given
  EXPECT_TRUE(Database_Lister(connected).list(info, "TEN1"));

  ASSERT_EQ(infos.size(), 1u);
  EXPECT_EQ(std::tie(infos.front().name, infos.front().active), std::make_tuple("HXE", true));
  EXPECT_EQ(std::tie(info.name, info.active), std::make_tuple("", true));  // an executor does not tell its SID
}

TEST_F(Listers, failures_are_logged_in_order_and_keep_what_was_listed) {
  answer("select", "\"A\",\"B\",\"YES\"\n", "* 10: gone\n", 1);
  answer("SELECT", "\"A\",\"B\",\"TRUE\"\n", "* 10: gone\n", 1);
  sap_hana::Database_Info_List infos;
  sap_hana::Database_Scheme_Base_Info_List schemas;

  EXPECT_FALSE(database_lister().list(infos, ""));
  log_.expect_error("Failed to execute '" + ALL_DATABASES + "'\n");
  log_.expect_error("Failed to list HANA database\n");
  EXPECT_FALSE(schema_lister().list_schema("TEN1", schemas));
  log_.expect_error("Failed to execute 'SELECT SCHEMA_NAME, SCHEMA_OWNER, HAS_PRIVILEGES FROM SCHEMAS'\n");
  log_.expect_error("Failed to list HDB90 schema\n");
  EXPECT_FALSE(Schema_Lister("HXE", "HDB91", "SYSTEM", "Secret1").list_schema("", schemas));
  log_.expect_error("Failed to list HDB91 schema\n");
  EXPECT_EQ(infos.size() + schemas.size(), 2u);

  EXPECT_FALSE(database_lister().list(infos.front(), ""));
  EXPECT_EQ(log_.take().size(), 2U);
  EXPECT_EQ(infos.front().name, "A");
}

class ConfigManager : public Hdbsql {
 protected:
  const test::Foreign_Locale locale_;
  System_Config_Manager manager_{executor()};
};

TEST_F(ConfigManager, a_flag_is_written_only_where_it_differs_from_what_is_read) {
  const std::pair<const char*, bool> cases[] = {
      {"VALUE\n\"true\"\n\n1 row selected (1 msec)\n", true},
      {"VALUE\n\"YES\"\n", true},
      {"VALUE\n\"on\"\n", false},
      {"VALUE\n\n0 rows selected (1 msec)\n", false},
      {"VALUE\n\"false\"\n\"true\"\n2 rows selected\n", true},  // the last row counts
      {"KEY,VALUE\n\"true\",\"no\"\n", false},
      {"NAME,OTHER\n\"true\",\"no\"\n", true},  // without the column, the first one counts
  };
  for (const auto& [output, current] : cases) {
    answer("SELECT", output);
    EXPECT_TRUE(manager_.alter_auto_log_backup(current));
    EXPECT_EQ(take_statements().find("ALTER"), std::string::npos) << output;
    EXPECT_TRUE(manager_.alter_auto_log_backup(!current));
    EXPECT_NE(take_statements().find("\nALTER"), std::string::npos) << output;
  }
}

TEST_F(ConfigManager, a_read_that_fails_counts_as_off_and_a_write_that_fails_is_the_failure) {
  const std::tuple<bool (System_Config_Manager::*)(bool), std::string, std::string> flags[] = {
      {&System_Config_Manager::alter_auto_log_backup, "persistence', 'enable_auto_log_backup", "auto log backup"},
      {&System_Config_Manager::alter_log_backup_using_backint, "backup', 'log_backup_using_backint",
       "log backup using backint"},
      {&System_Config_Manager::alter_catalog_backup_using_backint, "backup', 'catalog_backup_using_backint",
       "catalog backup using backint"},
  };
  answer("SELECT", "VALUE\n\"true\"\n", "", 1);
  answer("ALTER", "", "* 258: insufficient privilege\n", 1);
  for (const auto& [alter, setting, what] : flags) {
    EXPECT_FALSE((manager_.*alter)(true));
    log_.expect_error("Failed to execute 'SELECT VALUE from M_INIFILE_CONTENTS where key = " +
                      setting.substr(setting.rfind('\'')) + "' and LAYER_NAME = 'SYSTEM''\n");
    log_.expect_error("Failed to execute 'ALTER SYSTEM ALTER CONFIGURATION ('global.ini', 'SYSTEM') SET ('" + setting +
                      "') = 'true' WITH RECONFIGURE'\n");
    log_.expect_error("Failed to enable " + what + "\n");
  }

  answer("SELECT", "VALUE\n\"NORMAL\"\n");
  EXPECT_TRUE(manager_.alter_log_mode(System_Config_Manager::LOG_MODE_NORMAL));
  EXPECT_FALSE(manager_.alter_log_mode(System_Config_Manager::LOG_MODE_OVERWRITE));
  EXPECT_EQ(log_.take().back().text, "Failed to alter log mode to overwrite\n");
  EXPECT_FALSE(manager_.alter_log_mode(System_Config_Manager::LOG_MODE_UNKNOWN));
  log_.expect_error("Failed to alter log mode: unkonwn mode\n");
}

}  // namespace
