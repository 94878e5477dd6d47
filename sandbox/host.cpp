#include "sandbox/host.h"

#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "sandbox/host_tree.h"
#include "sandbox/paths.h"
#include "sandbox/processes.h"
#include "sandbox/templates.h"

namespace sandbox {

namespace {

namespace fs = std::filesystem;

std::vector<std::string> take_lines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line))
    lines.push_back(line);
  fs::remove(path);
  return lines;
}

// Name and port of an instance's servers, in the order of starting.
std::vector<std::pair<std::string, std::string>> servers(const std::string& sid, const std::string& instance) {
  std::vector<std::pair<std::string, std::string>> result;
  std::ifstream file(system_state(sid) + "/" + instance + ".servers");
  std::string name;
  std::string port;
  while (file >> name >> port)
    result.emplace_back(name, port);
  return result;
}

std::string port_of(const std::string& sid, const std::string& instance, const std::string& program) {
  for (const auto& [name, port] : servers(sid, instance)) {
    if (name == program) return port;
  }
  throw std::runtime_error("sandbox: " + sid + " " + instance + " has no program " + program);
}

void run_or_throw(const std::vector<std::string>& arguments) {
  const std::string log = std::string(state_dir) + "/log";
  if (run(arguments, {"PATH=/usr/local/bin:/usr/bin:/bin"}, log) == 0) return;
  std::ifstream file(log);
  std::string line;
  std::string last;
  while (std::getline(file, line))
    last = line;
  throw std::runtime_error("sandbox: " + arguments[0] + " failed: " + last);
}

}  // namespace

Host::Host(const std::string& description) : description_(parse_description(description)) {
  if (way_inside() == Way::none)
    throw std::runtime_error("not inside a sandbox: run this program with 'sandbox run --bare -- PROGRAM'");
  remove_tree();
  try {
    build_tree(description_);
    start_all();
  } catch (const std::exception&) {
    end_recorded();
    remove_tree();
    throw;
  }
}

Host::~Host() {
  end_recorded();
  remove_tree();
}

pid_t Host::pid(const std::string& sid, const std::string& instance, const std::string& program) const {
  return running_pid(pid_file(sid, instance, program));
}

const Instance_Description& Host::find(const std::string& sid, const std::string& instance) const {
  for (const System_Description& system : description_.systems) {
    for (const Instance_Description& candidate : system.instances) {
      if (system.sid == sid && candidate.name == instance) return candidate;
    }
  }
  throw std::runtime_error("sandbox: no instance " + sid + " " + instance);
}

pid_t Host::start(const std::string& sid, const std::string& instance, const std::string& program) {
  const Instance_Description& found = find(sid, instance);
  if (pid(sid, instance, program) != 0) throw std::runtime_error("sandbox: " + program + " runs already");
  const std::string path = instance_dir(sid, instance) + "/exe/" + program;
  std::vector<std::string> arguments = {path};
  if (program == "sapstartsrv") {
    arguments.push_back("pf=" + profile_path(sid, instance, description_.name));
    if (!found.systemd) arguments.insert(arguments.end(), {"-D", "-u", administrator(sid)});
  } else {
    arguments.insert(arguments.end(), {"-port", port_of(sid, instance, program)});
  }
  run_or_throw(arguments);
  return pid(sid, instance, program);
}

void Host::stop(const std::string& sid, const std::string& instance, const std::string& program) {
  const pid_t process = pid(sid, instance, program);
  if (process != 0 && !end(process, SIGKILL)) throw std::runtime_error("sandbox: " + program + " does not end");
}

void Host::start_all() {
  if (description_.host_agent)
    run_or_throw({"/usr/sap/hostctrl/exe/sapstartsrv", "pf=/usr/sap/hostctrl/exe/host_profile", "-D"});
  for (const System_Description& system : description_.systems) {
    for (const Instance_Description& instance : system.instances) {
      if (instance.start_service) start(system.sid, instance.name, "sapstartsrv");
      if (!system.hana || !instance.running) continue;
      for (const auto& server : servers(system.sid, instance.name))
        start(system.sid, instance.name, server.first);
    }
  }
}

std::vector<std::string> Host::take_statements(const std::string& sid) {
  return take_lines(system_state(sid) + "/statements");
}

std::vector<std::string> Host::take_hdb_runs(const std::string& sid, const std::string& instance) {
  return take_lines(system_state(sid) + "/" + instance + ".runs");
}

void Host::fail_hdb(const std::string& sid, const std::string& instance, const std::string& reason) {
  const std::string path = system_state(sid) + "/" + instance + ".failure";
  std::ofstream(path, std::ios::trunc) << reason;
  ::chmod(path.c_str(), 0644);
}

const std::string& default_description() {
  static const std::string text = default_host;
  return text;
}

}  // namespace sandbox
