#include "platform/instances/instance.h"

#include <algorithm>
#include <cerrno>

#include "platform/text/case_blind.h"
#include "platform/text/natoi.h"

namespace platform {
namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool parse(const std::string& text, std::uint64_t& number) {
  if (!std::all_of(text.begin(), text.end(), is_digit)) return false;
  const auto parsed = natoi<std::uint64_t>(text.data(), text.data() + text.size());
  if (errno != 0) return false;
  number = parsed;
  return true;
}

bool is_one_of(const std::string& text, std::initializer_list<const char*> words) {
  return std::any_of(words.begin(), words.end(), [&](const char* word) { return equal_but_for_case(text, word); });
}

bool parse(const std::string& text, bool& flag) {
  const bool yes = is_one_of(text, {"true", "yes", "on", "1"});
  if (!yes && !is_one_of(text, {"false", "no", "off", "0"})) return false;
  flag = yes;
  return true;
}

}  // namespace

Instance::Instance(const Instance& other) : options_(other.options()) {}

Instance& Instance::operator=(const Instance& other) {
  auto options = other.options();
  const std::lock_guard<std::mutex> lock(mutex_);
  options_.swap(options);
  return *this;
}

std::map<std::string, std::string> Instance::options() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return options_;
}

void Instance::set_option(const std::string& key, const std::string& value) {
  const std::lock_guard<std::mutex> lock(mutex_);
  options_[key] = value;
}

bool Instance::get_option(const std::string& key, std::string& value) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto option = options_.find(key);
  if (option == options_.end()) return false;
  value = option->second;
  return true;
}

bool Instance::get_option(const std::string& key, std::uint64_t& value) const {
  std::string text;
  return get_option(key, text) && parse(text, value);
}

bool Instance::get_option(const std::string& key, bool& value) const {
  std::string text;
  return get_option(key, text) && parse(text, value);
}

}  // namespace platform
