#include "platform/instances/instance_manager.h"

#include <stdexcept>

#include "platform/files/ini_file.h"
#include "platform/log/log.h"
#include "platform/text/format.h"

namespace platform {
namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& title, const char* why) {
  throw std::runtime_error(snprintf_t<256>("%s: '%s' %s", path.c_str(), title.c_str(), why).str());
}

Instance_var make_instance(const boost::property_tree::ptree& section) {
  auto instance = std::make_shared<Instance>();
  for (const auto& [key, option] : section)
    instance->set_option(key, option.data());
  return instance;
}

}  // namespace

Instance_Manager* Instance_Manager::instance() {
  static Instance_Manager manager;
  return &manager;
}

Instance_var Instance_Manager::find(const char* type, const char* name) const {
  if (type == nullptr || name == nullptr) return {};
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = instances_.find({type, name});
  return found == instances_.end() ? Instance_var() : found->second;
}

void Instance_Manager::add(const std::string& type, const std::string& name, const Instance_var& instance) {
  if (!instance) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  instances_[{type, name}] = instance;
}

bool Instance_Manager::remove(const std::string& type, const std::string& name) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return instances_.erase({type, name}) != 0;
}

Instance_Manager::Table Instance_Manager::read(const std::string& path) {
  Table table;
  for (const auto& [title, section] : read_ini_file(path)) {
    if (section.empty()) refuse(path, title, "stands outside of a section");
    const std::size_t slash = title.find('/');
    if (slash == std::string::npos || slash == 0 || slash + 1 == title.size()) {
      refuse(path, title, "is not of the form 'type/name'");
    }
    table[{title.substr(0, slash), title.substr(slash + 1)}] = make_instance(section);
  }
  return table;
}

bool Instance_Manager::load(const std::string& path) {
  Table loaded;
  try {
    loaded = read(path);
  } catch (const std::exception& error) {
    log_error("Failed to load instances: %s\n", error.what());
    return false;
  }

  const std::lock_guard<std::mutex> lock(mutex_);
  loaded.merge(instances_);  // keeps the loaded one where both have it
  instances_.swap(loaded);
  return true;
}

}  // namespace platform
