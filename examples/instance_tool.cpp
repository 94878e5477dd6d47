// instance_tool: stops, starts or restarts one SAP HANA instance of this host, or one of its tenant databases, and
// shows the state before and after.
//
// Exit status: 0 if that was done, 1 if not, 2 for a wrong call.

#include <chrono>
#include <iostream>
#include <memory>
#include <string>

#include "examples/support/password.h"
#include "examples/support/terminal.h"
#include "hana/common/instance_control.h"
#include "hana/common/list_databases.h"
#include "hana/common/list_instances.h"
#include "hana/common/system_control.h"
#include "hana/common/tenant_database_control.h"
#include "platform/text/format.h"

namespace {

using namespace example;
using sap_hana::Instance_Controller;

const char* const USAGE =
    "usage: instance_tool ACTION SID INSTANCE\n"
    "       instance_tool ACTION SID INSTANCE TENANT --password-file FILE [--user NAME]\n"
    "Does the ACTION - start, stop, restart or state - to an instance such as HDB90, or to a tenant database of it,\n"
    "and shows the state before and after. It takes root, and no time limit ends it.\n"
    "\n"
    "--password-file FILE   the file that holds the database user's password, - for standard input\n"
    "--user NAME            the database user; SYSTEM if not given\n"
    "\n"
    "Exit status: 0 if that was done, 1 if not, 2 for a wrong call.\n";

struct Request {
  std::string action;
  std::string sid;
  std::string instance;
  std::string tenant;  // empty for the instance itself
  std::string user;    // both empty without a tenant
  std::string password_file;
};

// What is acted on.
class Target {
 public:
  virtual ~Target() = default;
  // False if nothing tells; `text` says why then.
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
    // A system without tenants answers with a database of another name.
    const bool known = lister_.list(database, name_) && database.name == name_;
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
std::unique_ptr<Target> make_tenant_target(const Request& request) {
  platform::secure_string password;
  sap_hana::Database_Info database{};
  sap_hana::HDBSQL_Executor executor("");
  if (!read_password(request.password_file, password)) return nullptr;
  if (!sap_hana::System_Instance_Lister().list(database.instance_info, request.sid, request.instance)) {
    std::cerr << "no instance " << request.sid << ' ' << request.instance << " runs here\n";
    return nullptr;
  }
  database.name = "SYSTEMDB";
  database.instance_info.system_info.multi_container = sap_hana::System_Controller(request.sid).is_multi_container();
  if (!executor.init(database, request.user, password)) return nullptr;
  return std::make_unique<Tenant_Target>(executor, request.tenant);
}

bool act(Target& target, const std::string& action) {
  if (action == "start") return target.start();
  if (action == "stop") return target.stop();
  if (action == "restart") return target.restart();
  return true;
}

bool show_state(Target& target, const Request& request) {
  std::string text;
  const bool known = target.state(text);
  std::cout << request.sid << ' ' << request.instance << (request.tenant.empty() ? "" : " ") << request.tenant << ": "
            << text << std::endl;
  return known;
}

int carry_out(Target& target, const Request& request) {
  // What cannot be asked cannot be seen to be done either.
  if (!show_state(target, request)) return 1;
  if (request.action == "state") return 0;

  const auto begin = std::chrono::steady_clock::now();
  const bool done = act(target, request.action);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  std::cout << request.action << (done ? " done" : " failed")
            << platform::snprintf_t<32>(" after %.1f s\n", seconds.count()).c_str();
  return show_state(target, request) && done ? 0 : 1;
}

bool parse_option(const std::string& name, const char* value, Request& request) {
  if (value == nullptr) return false;
  if (name == "--user") {
    request.user = value;
  } else if (name == "--password-file") {
    request.password_file = value;
  } else {
    return false;
  }
  return true;
}

bool parse(int argc, char** argv, Request& request) {
  if (argc < 4) return false;
  request.action = argv[1];
  request.sid = argv[2];
  request.instance = argv[3];
  int next = 4;
  if (next < argc && argv[next][0] != '-') request.tenant = argv[next++];
  for (; next < argc; next += 2) {
    if (!parse_option(argv[next], argv[next + 1], request)) return false;
  }
  const bool known =
      request.action == "start" || request.action == "stop" || request.action == "restart" || request.action == "state";
  if (request.tenant.empty()) return known && request.password_file.empty() && request.user.empty();
  if (request.user.empty()) request.user = "SYSTEM";
  return known && !request.password_file.empty();
}

}  // namespace

int main(int argc, char** argv) {
  Request request;
  if (!parse(argc, argv, request)) {
    const bool asked = argc == 2 && std::string(argv[1]) == "--help";
    (asked ? std::cout : std::cerr) << USAGE;
    return asked ? 0 : 2;
  }
  log_errors_only();
  const std::unique_ptr<Target> target = request.tenant.empty()
                                             ? std::make_unique<Instance_Target>(request.sid, request.instance)
                                             : make_tenant_target(request);
  return target ? carry_out(*target, request) : 1;
}
