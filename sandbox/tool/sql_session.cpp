#include "sandbox/tool/sql_session.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <regex>

namespace sandbox {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* general_sqlstate = " SQLSTATE: HY000";

// "116.252 msec".
std::string duration_text(Clock::duration duration) {
  const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(duration).count();
  char text[64];
  if (microseconds < 1000) {
    std::snprintf(text, sizeof(text), "%lld usec", static_cast<long long>(microseconds));
  } else if (microseconds < 1000000) {
    std::snprintf(text, sizeof(text), "%.3f msec", static_cast<double>(microseconds) / 1e3);
  } else {
    std::snprintf(text, sizeof(text), "%.6f sec", static_cast<double>(microseconds) / 1e6);
  }
  return text;
}

std::string upper_case(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

// A field in quotes, its own quotes written as \".
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"') result += '\\';
    result += c;
  }
  return result + "\"";
}

std::string field(sqlite3_stmt* row, int column) {
  const int type = ::sqlite3_column_type(row, column);
  if (type == SQLITE_NULL) return "?";
  const void* bytes = ::sqlite3_column_blob(row, column);
  const auto length = static_cast<std::size_t>(::sqlite3_column_bytes(row, column));
  const std::string text(static_cast<const char*>(bytes), bytes == nullptr ? 0 : length);
  return type == SQLITE_INTEGER || type == SQLITE_FLOAT ? text : quoted(text);
}

// What SQLite says about a wrong statement, in the database's words.
Sql_Error translated(const std::string& message) {
  const std::size_t colon = message.find(": ");
  const std::string name = upper_case(colon == std::string::npos ? "" : message.substr(colon + 2));
  const std::string place = ": line 1 col 1 (at pos 1)";
  if (message.rfind("no such table", 0) == 0)
    return {259,
            "invalid table name:  Could not find table/view " + name + " in schema SYSTEM" + place + general_sqlstate};
  if (message.rfind("no such column", 0) == 0) return {260, "invalid column name: " + name + place + general_sqlstate};
  return {257, "sql syntax error: " + message + place + general_sqlstate};
}

}  // namespace

Sql_Session::Sql_Session(const std::string& file, const std::string& user, const std::string& password,
                         const std::string& database)
    : handle_(nullptr, &::sqlite3_close) {
  sqlite3* handle = nullptr;
  const int result = ::sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr);
  handle_.reset(handle);
  check(result);
  ::sqlite3_busy_timeout(handle, 10000);
  check(::sqlite3_exec(handle, "PRAGMA synchronous = OFF; PRAGMA journal_mode = MEMORY; PRAGMA temp_store = MEMORY",
                       nullptr, nullptr, nullptr));
  choose_database(database);
  // The database folds a name that is not quoted to upper case.
  if (value("SELECT COUNT(*) FROM USERS WHERE NAME = ? AND PASSWORD = ?", {upper_case(user), password}) != "1")
    throw Sql_Error(10, "authentication failed SQLSTATE: 28000");
  make_views();
}

void Sql_Session::fail() const {
  throw translated(::sqlite3_errmsg(handle_.get()));
}

void Sql_Session::check(int result) const {
  if (result != SQLITE_OK) fail();
}

Sql_Session::Statement Sql_Session::prepare(const std::string& sql, std::initializer_list<std::string> values) const {
  sqlite3_stmt* prepared = nullptr;
  check(::sqlite3_prepare_v2(handle_.get(), sql.c_str(), -1, &prepared, nullptr));
  Statement statement(prepared, &::sqlite3_finalize);
  int position = 0;
  for (const std::string& value : values)
    check(::sqlite3_bind_text(prepared, ++position, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT));
  return statement;
}

std::string Sql_Session::value(const std::string& sql, std::initializer_list<std::string> values) const {
  const Statement statement = prepare(sql, values);
  if (::sqlite3_step(statement.get()) != SQLITE_ROW) return {};
  const unsigned char* text = ::sqlite3_column_text(statement.get(), 0);
  return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

void Sql_Session::change(const std::string& sql, std::initializer_list<std::string> values) const {
  const Statement statement = prepare(sql, values);
  if (::sqlite3_step(statement.get()) != SQLITE_DONE) fail();
}

void Sql_Session::choose_database(const std::string& wanted) {
  const bool multi = value("SELECT MULTI_CONTAINER FROM SYSTEM_INFO") == "1";
  const std::string only = multi ? "SYSTEMDB" : value("SELECT SID FROM SYSTEM_INFO");
  database_ = wanted.empty() ? only : upper_case(wanted);
  if (database_ == only) return;
  const std::string status = value("SELECT ACTIVE_STATUS FROM DATABASES WHERE DATABASE_NAME = ?", {database_});
  if (status.empty()) throw Sql_Error(-10709, "Connection failed (database '" + database_ + "' is not known)");
  if (status != "YES") throw Sql_Error(-10709, "Connection failed (database '" + database_ + "' is not running)");
}

// A tenant sees itself and what is its own.
void Sql_Session::make_views() const {
  check(::sqlite3_exec(handle_.get(), "CREATE TEMP TABLE CONNECTION(NAME TEXT)", nullptr, nullptr, nullptr));
  change("INSERT INTO CONNECTION VALUES(?)", {database_});
  check(::sqlite3_exec(handle_.get(),
                       "CREATE TEMP VIEW M_DATABASES AS SELECT DATABASE_NAME, DESCRIPTION, ACTIVE_STATUS FROM DATABASES"
                       " WHERE (SELECT NAME FROM CONNECTION) IN ('SYSTEMDB', DATABASE_NAME);"
                       "CREATE TEMP VIEW SCHEMAS AS SELECT SCHEMA_NAME, SCHEMA_OWNER, HAS_PRIVILEGES FROM ALL_SCHEMAS"
                       " WHERE DATABASE_NAME = (SELECT NAME FROM CONNECTION)",
                       nullptr, nullptr, nullptr));
}

void Sql_Session::set_active(const std::string& database, bool active) {
  const std::string status = value("SELECT ACTIVE_STATUS FROM DATABASES WHERE DATABASE_NAME = ?", {database});
  if (status.empty() || database == "SYSTEMDB")
    throw Sql_Error(2, "general error: database '" + database + "' cannot be started or stopped" + general_sqlstate);
  change("UPDATE DATABASES SET ACTIVE_STATUS = ? WHERE DATABASE_NAME = ?", {active ? "YES" : "NO", database});
}

// False if it is no statement of that kind.
bool Sql_Session::run_alter_system(const std::string& statement) {
  static const std::regex start_stop(R"re(\s*ALTER\s+SYSTEM\s+(START|STOP)\s+DATABASE\s+"?([^\s";]+)"?[\s;]*)re",
                                     std::regex::icase);
  static const std::regex configure(
      R"(\s*ALTER\s+SYSTEM\s+ALTER\s+CONFIGURATION\s*\(\s*'([^']*)'\s*,\s*'([^']*)'\s*\))"
      R"(\s*SET\s*\(\s*'([^']*)'\s*,\s*'([^']*)'\s*\)\s*=\s*'([^']*)'(\s+WITH\s+RECONFIGURE)?[\s;]*)",
      std::regex::icase);
  std::smatch match;
  if (std::regex_match(statement, match, start_stop)) {
    set_active(upper_case(match[2]), upper_case(match[1]) == "START");
    return true;
  }
  if (!std::regex_match(statement, match, configure)) return false;
  change("DELETE FROM M_INIFILE_CONTENTS WHERE FILE_NAME = ? AND LAYER_NAME = ? AND SECTION = ? AND KEY = ?",
         {match[1], upper_case(match[2]), match[3], match[4]});
  change("INSERT INTO M_INIFILE_CONTENTS VALUES(?, ?, '', '', ?, ?, ?)",
         {match[1], upper_case(match[2]), match[3], match[4], match[5]});
  return true;
}

int Sql_Session::print_rows(sqlite3_stmt* statement, std::FILE* out) const {
  const int columns = ::sqlite3_column_count(statement);
  std::string line;
  for (int column = 0; column < columns; ++column)
    line += (column == 0 ? "" : ",") + upper_case(::sqlite3_column_name(statement, column));
  int rows = 0;
  int result = SQLITE_OK;
  for (;; ++rows) {
    line += "\n";
    std::fwrite(line.data(), 1, line.size(), out);
    result = ::sqlite3_step(statement);
    if (result != SQLITE_ROW) break;
    line.clear();
    for (int column = 0; column < columns; ++column)
      line += (column == 0 ? "" : ",") + field(statement, column);
  }
  if (result != SQLITE_DONE) fail();
  return rows;
}

void Sql_Session::execute(const std::string& statement, std::FILE* out) {
  const Clock::time_point begin = Clock::now();
  const auto times = [&begin] {
    const auto taken = Clock::now() - begin;
    return "(overall time " + duration_text(taken) + "; server time " + duration_text(taken / 2) + ")";
  };
  int affected = 0;
  if (!run_alter_system(statement)) {
    const Statement prepared = prepare(statement);
    if (::sqlite3_column_count(prepared.get()) > 0) {
      const int rows = print_rows(prepared.get(), out);
      std::fprintf(out, "\n%d row%s selected %s\n", rows, rows == 1 ? "" : "s", times().c_str());
      return;
    }
    if (prepared == nullptr || ::sqlite3_step(prepared.get()) != SQLITE_DONE) fail();
    affected = ::sqlite3_changes(handle_.get());
  }
  std::fprintf(out, "%d row%s affected %s\n", affected, affected == 1 ? "" : "s", times().c_str());
}

}  // namespace sandbox
