// gustaikrum-instance: stops, starts or restarts one SAP HANA instance of this host, or one of its tenant databases,
// and shows the state before and after.

#include <algorithm>
#include <chrono>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>

#include "examples/log_reasons.h"
#include "hana/common/instance_control.h"
#include "hana/common/list_databases.h"
#include "hana/common/list_instances.h"
#include "hana/common/system_control.h"
#include "hana/common/tenant_database_control.h"
#include "platform/text/format.h"
#include "platform/text/printable.h"
#include "tools/support/command_line.h"
#include "tools/support/password.h"
#include "tools/support/progress.h"
#include "tools/support/terminal.h"

namespace {

using namespace tools;
using sap_hana::Instance_Controller;

constexpr Tool TOOL = {
    "gustaikrum-instance",
    "Usage: gustaikrum-instance ACTION SID INSTANCE\n"
    "       gustaikrum-instance ACTION SID INSTANCE TENANT --password-file=FILE [--user=NAME]\n"
    "Does the ACTION - start, stop, restart or state - to an instance such as HDB90, or to a tenant database of it,\n"
    "and shows the state before and after. It takes root, and no time limit ends it.\n"
    "\n"
    "  --password-file=FILE   the file that holds the database user's password, - for standard input\n"
    "  --user=NAME            the database user; SYSTEM if not given\n"
    "  -h, --help             show this and exit\n"
    "      --version          show the version and exit\n"
    "\n"
    "Exit status:\n"
    "  0  it was done\n"
    "  1  it was not, and the last lines say why\n"
    "  2  wrong call, or no password could be read\n"};

enum Exit_Status { DONE = 0, NOT_DONE = 1, WRONG_CALL = 2 };

struct Request {
  std::string action;
  std::string sid;
  std::string instance;
  std::string tenant;  // empty for the instance itself
  std::string user = "SYSTEM";
  std::string password_file;

  std::string target() const { return sid + ' ' + instance + (tenant.empty() ? "" : ' ' + tenant); }
};

// What is acted on.
class Target {
 public:
  virtual ~Target() = default;
  // False if nothing tells; `text` is left as it is then, if the log says why.
  virtual bool state(std::string& text) = 0;
  virtual bool start() = 0;
  virtual bool stop() = 0;
  virtual bool restart() { return stop() && start(); }
};

class Instance_Target : public Target {
 public:
  Instance_Target(const std::string& sid, const std::string& name) : controller_(sid), name_(name) {}

  bool state(std::string& text) override {
    auto state = Instance_Controller::INSTANCE_STATE_UNKNOWN;
    const bool known = controller_.get_state(name_, state);
    text = !known                                                 ? "no start service runs"
           : state == Instance_Controller::INSTANCE_STATE_RUNNING ? "running"
                                                                  : "stopped";
    return known;
  }
  bool start() override { return controller_.start(name_); }
  bool stop() override { return controller_.stop(name_); }
  bool restart() override { return controller_.restart(name_); }

 private:
  Instance_Controller controller_;
  std::string name_;
};

class Tenant_Target : public Target {
 public:
  Tenant_Target(sap_hana::HDBSQL_Executor executor, const std::string& name)
      : lister_(executor), controller_(executor), name_(name) {}

  bool state(std::string& text) override {
    sap_hana::Database_Info database{};
    if (!lister_.list(database, name_)) return false;
    // A system without tenants answers with a database of another name.
    const bool known = database.name == name_;
    text = !known ? "no such tenant is listed" : database.active ? "running" : "stopped";
    return known;
  }
  bool start() override { return controller_.start(name_); }
  bool stop() override { return controller_.stop(name_); }

 private:
  sap_hana::Database_Lister lister_;
  sap_hana::Tenant_Database_Controller controller_;
  std::string name_;
};

// Null, with the reason on standard error, if the instance is not there or cannot be connected to.
std::unique_ptr<Target> make_tenant_target(const Request& request, const platform::secure_string& password) {
  const Log_Reasons reasons;
  sap_hana::Database_Info database{};
  sap_hana::HDBSQL_Executor executor("");
  if (!sap_hana::System_Instance_Lister().list(database.instance_info, request.sid, request.instance)) {
    std::cerr << "no instance " << request.sid << ' ' << request.instance << " can be seen here\n" << reasons.text();
    return nullptr;
  }
  database.name = "SYSTEMDB";
  database.instance_info.system_info.multi_container = sap_hana::System_Controller(request.sid).is_multi_container();
  if (!executor.init(database, request.user, password)) {
    std::cerr << reasons.text();
    return nullptr;
  }
  return std::make_unique<Tenant_Target>(executor, request.tenant);
}

bool act(Target& target, const std::string& action) {
  if (action == "start") return target.start();
  if (action == "stop") return target.stop();
  return target.restart();
}

bool show_state(Target& target, const Request& request) {
  const Log_Reasons reasons;
  std::string text;
  const bool known = target.state(text);
  if (text.empty()) text = "unknown: " + reasons.first();
  std::cout << request.target() << ": " << text << std::endl;
  return known;
}

bool do_action(Target& target, const Request& request) {
  const Log_Reasons reasons;
  const auto begin = std::chrono::steady_clock::now();
  bool done;
  {
    const Progress progress(request.action + " of " + request.target());
    done = act(target, request.action);
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  std::cout << request.action << (done ? " done" : " failed")
            << platform::snprintf_t<32>(" after %.1f s\n", seconds.count()).c_str();
  if (!done) std::cout << reasons.text();
  return done;
}

int carry_out(Target& target, const Request& request) {
  // What cannot be asked cannot be seen to be done either.
  if (!show_state(target, request)) return NOT_DONE;
  if (request.action == "state") return DONE;

  const bool done = do_action(target, request);
  return show_state(target, request) && done ? DONE : NOT_DONE;
}

// What is wrong with the operands, or with how they go with the options; empty for nothing.
std::string take_operands(char** operands, bool user_given, Request& request) {
  std::string* const fields[] = {&request.action, &request.sid, &request.instance, &request.tenant};
  for (std::string* const field : fields) {
    if (*operands != nullptr) *field = *operands++;
  }
  if (*operands != nullptr) return "unexpected '" + platform::printable(*operands) + "'";
  if (request.instance.empty()) return "ACTION, SID and INSTANCE are needed";
  const char* const known[] = {"start", "stop", "restart", "state"};
  if (std::find(std::begin(known), std::end(known), request.action) == std::end(known))
    return "unknown action '" + platform::printable(request.action) + "'";
  const bool password_given = !request.password_file.empty();
  if (!request.tenant.empty()) return password_given ? "" : "a tenant database takes --password-file";
  return password_given || user_given ? "only a tenant database takes a user and a password" : "";
}

}  // namespace

int main(int argc, char** argv) {
  log_errors_only();
  Request request;
  bool user_given = false;
  const std::optional<int> ended = read_options(
      argc, argv, TOOL, {{"user", required_argument, nullptr, 'u'}, {"password-file", required_argument, nullptr, 'p'}},
      [&](int option, const char* value) {
        user_given = user_given || option == 'u';
        (option == 'u' ? request.user : request.password_file) = value;
        return true;
      });
  if (ended) return *ended;
  const std::string fault = take_operands(argv + optind, user_given, request);
  if (!fault.empty()) return wrong_call(TOOL, fault);

  platform::secure_string password;
  if (!request.tenant.empty() && !read_password(request.password_file, password)) return WRONG_CALL;
  const std::unique_ptr<Target> target = request.tenant.empty()
                                             ? std::make_unique<Instance_Target>(request.sid, request.instance)
                                             : make_tenant_target(request, password);
  return target ? carry_out(*target, request) : NOT_DONE;
}
