#pragma once

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace sandbox {

// An error as the database reports it: "* 259: invalid table name ... SQLSTATE: HY000".
class Sql_Error : public std::runtime_error {
 public:
  Sql_Error(int code, const std::string& text) : std::runtime_error("* " + std::to_string(code) + ": " + text) {}
};

// A connection to one database of a system, whose contents stand in a SQLite file.
class Sql_Session {
 public:
  // Connects. Throws Sql_Error for a wrong user or password, an unknown database, or one that is stopped.
  Sql_Session(const std::string& file, const std::string& user, const std::string& password,
              const std::string& database);

  // The database that this is a connection to, "SYSTEMDB" if none was named.
  const std::string& database() const { return database_; }

  // Runs one statement and prints its result as hdbsql does. Throws Sql_Error; rows before that are printed.
  void execute(const std::string& statement, std::FILE* out);

 private:
  using Statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

  void check(int result) const;
  [[noreturn]] void fail() const;
  Statement prepare(const std::string& sql, std::initializer_list<std::string> values = {}) const;
  std::string value(const std::string& sql, std::initializer_list<std::string> values = {}) const;
  void change(const std::string& sql, std::initializer_list<std::string> values) const;
  void choose_database(const std::string& wanted);
  void make_views() const;
  bool run_alter_system(const std::string& statement);
  void set_active(const std::string& database, bool active);
  int print_rows(sqlite3_stmt* statement, std::FILE* out) const;

  std::unique_ptr<sqlite3, int (*)(sqlite3*)> handle_;
  std::string database_;
};

}  // namespace sandbox
