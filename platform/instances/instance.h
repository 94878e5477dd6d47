#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>

#include "platform/export.h"

namespace platform {

// One configured instance: options by name. An option is kept as text, whatever it was set from, and read as what the
// reader asks for. Threads may share one.
class GUSTAIKRUM_EXPORT Instance {
 public:
  // Without options, or with a copy of the other's as they are at that moment.
  Instance() = default;
  Instance(const Instance& other);
  Instance& operator=(const Instance& other);
  ~Instance() = default;

  // Sets an option over an earlier one of the same name: to a text, to "true" or "false", or to a number in decimal.
  void set_option(const std::string& key, const std::string& value);
  void set_option(const std::string& key, const char* value) {
    set_option(key, std::string(value == nullptr ? "" : value));
  }
  void set_option(const std::string& key, bool value) { set_option(key, value ? "true" : "false"); }
  template <class T>
  std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>> set_option(const std::string& key, T value) {
    set_option(key, std::to_string(value));
  }

  // Replaces `value` with the option. False, with `value` unchanged, if there is no such option or its text is not of
  // the form asked for:
  //   a text is any text;
  //   a number is decimal digits and nothing else, 0 to 18446744073709551615;
  //   a flag is "true", "yes", "on" or "1", or "false", "no", "off" or "0", upper and lower case alike.
  bool get_option(const std::string& key, std::string& value) const;
  bool get_option(const std::string& key, std::uint64_t& value) const;
  bool get_option(const std::string& key, bool& value) const;

 private:
  std::map<std::string, std::string> options() const;

  mutable std::mutex mutex_;
  std::map<std::string, std::string> options_;
};

// An instance that is shared; empty for none.
using Instance_var = std::shared_ptr<Instance>;

}  // namespace platform
