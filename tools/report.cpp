// gustaikrum-report: shows every SAP HANA system and instance of this host, as a text or as
// JSON, or records the host for the sandbox.

#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <map>
#include <string>

#include "hana/common/list_instances.h"
#include "platform/text/printable.h"
#include "tools/support/command_line.h"
#include "tools/support/database_report.h"
#include "tools/support/host_record.h"
#include "tools/support/json_report.h"
#include "tools/support/password.h"
#include "tools/support/terminal.h"
#include "tools/support/text_report.h"

namespace {

using namespace tools;
using platform::printable;

constexpr Tool TOOL = {
    "gustaikrum-report",
    "Usage: gustaikrum-report [--sid=SID] [--user=NAME] [--password-file=[SID=]FILE]...\n"
    "       gustaikrum-report [--sid=SID] --json\n"
    "       gustaikrum-report [--sid=SID] --record=FILE [--anonymous]\n"
    "Shows every SAP HANA system and instance of this host whose start service runs, and whether it is running or\n"
    "stopped. Reading all of them takes root, no password. What only SQL tells is shown for systems with a password:\n"
    "of all of them, or of the one named SID.\n"
    "\n"
    "  --sid=SID                    this system only\n"
    "  --json                       as JSON, without what only SQL tells\n"
    "  --record=FILE                write what there is as a host description that gustaikrum-sandbox starts, to a\n"
    "                               new file or, for -, to standard output: no password, nothing from a database\n"
    "  --anonymous                  with other host names and landscape ids\n"
    "  --user=NAME                  the database user; SYSTEM if not given\n"
    "  --password-file=[SID=]FILE   the file that holds the user's password, - for standard input\n"
    "  -h, --help                   show this and exit\n"
    "      --version                show the version and exit\n"
    "\n"
    "Exit status:\n"
    "  0  at least one instance is shown or recorded\n"
    "  1  none was found; the JSON then has no systems\n"
    "  2  wrong call, or no password could be read\n"
    "  3  start services run, but none could be read, or what was read could not be written\n"};

enum Exit_Status { SHOWN = 0, NONE = 1, WRONG_CALL = 2, FAILED = 3 };

struct Request {
  std::string sid;  // empty for all
  bool json = false;
  std::string record;  // the file to write
  bool anonymous = false;
  std::string user;
  std::map<std::string, platform::secure_string> passwords;  // by SID; "" for every other system
};

void print_sql(const System_Report& system, const Request& request) {
  auto password = request.passwords.find(system.sid);
  if (password == request.passwords.end()) password = request.passwords.find("");
  if (password == request.passwords.end()) {
    print_field("SQL", styled(DIM, "left out: no password was given (--password-file)"));
    return;
  }
  print_databases(system.for_sql, request.user.empty() ? "SYSTEM" : request.user, password->second);
}

// Says what stands in the way of a report that shows something.
Exit_Status judge(bool services_run, bool some_read, bool some_shown, const std::string& sid) {
  if (some_shown) return SHOWN;
  const std::string host = printable(host_name());
  if (services_run && !some_read) {
    std::cerr << TOOL.name << ": SAP HANA runs on " << host << ", but no instance could be read"
              << (::geteuid() == 0 ? "" : "; try it as root") << '\n';
    return FAILED;
  }
  std::cerr << TOOL.name << ": no SAP HANA instance" << (sid.empty() ? "" : " of " + printable(sid)) << " runs on "
            << host << '\n';
  return NONE;
}

int report(const Request& request) {
  sap_hana::System_Instance_Info_List instances;
  const bool services_run = sap_hana::System_Instance_Lister().list(instances);
  const std::list<System_Report> systems = read_systems(instances, request.sid);

  const Exit_Status status = judge(services_run, !instances.empty(), !systems.empty(), request.sid);
  if (!request.record.empty()) {
    if (status == SHOWN && !record_host(request.record, systems, request.anonymous)) return FAILED;
  } else if (request.json && status != FAILED) {
    print_json(systems);
  } else if (status == SHOWN) {
    print_report(systems, [&](const System_Report& system) { print_sql(system, request); });
  }
  return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? status : FAILED;
}

// "HXE=FILE" is for one system, "FILE" for every other.
bool add_password(const std::string& option, Request& request) {
  const bool named = option.size() > 4 && option[3] == '=';
  return read_password(named ? option.substr(4) : option, request.passwords[named ? option.substr(0, 3) : ""]);
}

bool take(int option, const char* value, Request& request) {
  switch (option) {
    case 's':
      request.sid = value;
      break;
    case 'j':
      request.json = true;
      break;
    case 'r':
      request.record = value;
      break;
    case 'a':
      request.anonymous = true;
      break;
    case 'u':
      request.user = value;
      break;
    default:
      return add_password(value, request);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  log_errors_only();
  Request request;
  const std::optional<int> ended =
      read_options(argc, argv, TOOL,
                   {{"sid", required_argument, nullptr, 's'},
                    {"json", no_argument, nullptr, 'j'},
                    {"record", required_argument, nullptr, 'r'},
                    {"anonymous", no_argument, nullptr, 'a'},
                    {"user", required_argument, nullptr, 'u'},
                    {"password-file", required_argument, nullptr, 'p'}},
                   [&](int option, const char* value) { return take(option, value, request); });
  if (ended) return *ended;
  if (optind < argc) return wrong_call(TOOL, "unexpected '" + printable(argv[optind]) + "'");
  const bool for_programs = request.json || !request.record.empty();
  if (for_programs && (!request.user.empty() || !request.passwords.empty()))
    return wrong_call(TOOL, "--json and --record hold nothing that takes a user or a password");
  if (request.json && !request.record.empty()) return wrong_call(TOOL, "--json and --record exclude each other");
  if (request.anonymous && request.record.empty()) return wrong_call(TOOL, "--anonymous goes with --record");
  return report(request);
}
