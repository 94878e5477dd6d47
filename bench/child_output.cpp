#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>
#include <boost/algorithm/string.hpp>
#include <boost/regex.hpp>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "bench/cases.h"
#include "bench/measure.h"
#include "bench/program.h"
#include "hana/common/hdbsql_executor.h"
#include "hana/common/hdbsql_general_text_handler.h"
#include "hana/common/list_databases.h"
#include "platform/process/text_process_handler.h"

namespace bench {
namespace {

constexpr std::size_t LINES = 1'000'000;
constexpr int ROUNDS = 7;

// What hdbsql prints for a listing of so many databases; a child prints it from there.
class Listing {
 public:
  explicit Listing(std::size_t lines) {
    expect(::mkdtemp(directory_) != nullptr, "temporary directory");
    path_ = std::string(directory_) + "/listing";
    std::ofstream file(path_);
    file << "DATABASE_NAME,DESCRIPTION,ACTIVE_STATUS\n";
    for (std::size_t i = 1; i < lines; ++i)
      file << "\"TEN" << i << "\",\"HXE-90 tenant " << i << "\",\"YES\"\n";
    expect(bool(file.flush()), "writing the listing");
    std::ofstream(tool()) << "#!/bin/sh\nexec /bin/cat " << path_ << "\n";
    expect(::chmod(tool().c_str(), 0700) == 0, "making a tool");
  }
  ~Listing() {
    ::unlink(path_.c_str());
    ::unlink(tool().c_str());
    ::rmdir(directory_);
  }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

  const std::string& path() const { return path_; }
  // A program that prints it, whatever it is asked.
  std::string tool() const { return std::string(directory_) + "/hdbsql"; }

 private:
  char directory_[32] = "/tmp/bench_XXXXXX";
  std::string path_;
};

void print_through(platform::Text_Process_Handler& handler, const std::string& path) {
  platform::Process_Options options;
  options.command_line("/bin/cat %s", path.c_str());
  expect(handler.call(platform::ACE_Process_Ex::REDIRECT_STDOUT, options) == 0, "cat");
}

class Line_Counter : public platform::Text_Process_Handler {
 public:
  explicit Line_Counter(std::size_t& lines) : Text_Process_Handler(0), lines_(lines) {}

 protected:
  int handle_stdout_line(const char*, std::size_t) override {
    ++lines_;
    return 0;
  }

 private:
  std::size_t& lines_;
};

void lines_by_handler(const std::string& path) {
  std::size_t lines = 0;
  Line_Counter counter(lines);
  print_through(counter, path);
  expect(lines == LINES, "reading every line");
}

void lines_by_fgets(const std::string& path) {
  std::FILE* const output = ::popen(("/bin/cat " + path).c_str(), "r");
  expect(output != nullptr, "popen");
  char line[4096];
  std::size_t lines = 0;
  while (std::fgets(line, sizeof(line), output) != nullptr)
    ++lines;
  expect(::pclose(output) == 0 && lines == LINES, "reading every line");
}

void lines_by_read(const std::string& path) {
  int ends[2];
  expect(::pipe2(ends, O_CLOEXEC) == 0, "pipe");
  const pid_t child = start_program({"/bin/cat", path}, ends[1]);
  ::close(ends[1]);
  std::vector<char> buffer(64 * 1024);
  std::size_t lines = 0;
  for (ssize_t count = 0; (count = ::read(ends[0], buffer.data(), buffer.size())) > 0;) {
    const char* const end = buffer.data() + count;
    for (const void* at = buffer.data();
         (at = std::memchr(at, '\n', static_cast<std::size_t>(end - static_cast<const char*>(at))));) {
      ++lines;
      at = static_cast<const char*>(at) + 1;
    }
  }
  ::close(ends[0]);
  finish(child);
  expect(lines == LINES, "reading every line");
}

void rows_by_handler(const std::string& path) {
  sap_hana::HDBSQL_General_Text_Handler rows;
  print_through(rows, path);
  expect(rows.get_values().size() == LINES - 1, "reading every row");
}

class Split_And_Trim : public platform::Text_Process_Handler {
 public:
  Split_And_Trim() : Text_Process_Handler(0) {}

  std::list<std::vector<std::string>> rows;

 protected:
  int handle_stdout_line(const char* line, std::size_t length) override {
    std::vector<std::string> fields;
    boost::split(fields, boost::make_iterator_range(line, line + length), boost::is_any_of(","),
                 boost::token_compress_on);
    for (std::string& field : fields)
      boost::trim_if(field, boost::is_any_of("\"\n"));
    rows.push_back(std::move(fields));
    return 0;
  }
};

void rows_by_split_and_trim(const std::string& path) {
  Split_And_Trim rows;
  print_through(rows, path);
  expect(rows.rows.size() == LINES, "reading every row");
}

void databases_by_lister(const std::string& tool) {
  sap_hana::HDBSQL_Executor hdbsql(tool);
  sap_hana::Database_Info database{};
  platform::secure_string password("secret");
  expect(hdbsql.init(database, "SYSTEM", password), "making ready for SQL");
  sap_hana::Database_Info_List databases;
  expect(sap_hana::Database_Lister(hdbsql).list(databases, ""), "listing databases");
  expect(databases.size() == LINES - 1, "reading every database");
}

class Pattern_Handler : public platform::Text_Process_Handler {
 public:
  explicit Pattern_Handler(bool keeps) : Text_Process_Handler(0), keeps_(keeps) {}

  std::size_t matches = 0;

 protected:
  int handle_stdout_line(const char* line, std::size_t length) override {
    boost::cmatch match;
    if (!boost::regex_match(line, line + length, match, pattern_)) return 0;
    ++matches;
    if (keeps_) {
      sap_hana::Database_Info& database = databases_.emplace_back();
      database.name = match[1];
      database.description = match[2];
      database.active = match[3] == "YES";
    }
    return 0;
  }

 private:
  bool keeps_;
  boost::regex pattern_{"\\s*\"(.*)\",\"(.*)\",\"(.*)\""};
  sap_hana::Database_Info_List databases_;
};

void databases_by_pattern(const std::string& path, bool keeps) {
  Pattern_Handler handler(keeps);
  print_through(handler, path);
  expect(handler.matches == LINES - 1, "matching every row");
}

}  // namespace

void child_output() {
  const Listing listing(LINES);
  const auto of_listing = [&](void (*run)(const std::string&)) { return [&, run] { run(listing.path()); }; };
  race_runs({"a million lines",
             of_listing(lines_by_handler),
             {{"popen, fgets", of_listing(lines_by_fgets), 0.5}, {"read, memchr", of_listing(lines_by_read), 1}}},
            ROUNDS);
  race_fresh_runs({"a million lines into rows",
                   of_listing(rows_by_handler),
                   {{"boost split, trim", of_listing(rows_by_split_and_trim), 1}}},
                  ROUNDS);
  race_fresh_runs({"a million lines into databases",
                   [&] { databases_by_lister(listing.tool()); },
                   {{"the pattern, nothing kept", [&] { databases_by_pattern(listing.path(), false); }, 1},
                    {"the pattern, databases kept", [&] { databases_by_pattern(listing.path(), true); }}}},
                  ROUNDS);
}

void line_growth() {
  for (const std::size_t lines : {1'000, 10'000, 100'000, 1'000'000}) {
    const Listing listing(lines);
    grow("lines of a child", lines, [&] {
      std::size_t counted = 0;
      Line_Counter counter(counted);
      print_through(counter, listing.path());
      expect(counted == lines, "reading every line");
    });
  }
}

}  // namespace bench
