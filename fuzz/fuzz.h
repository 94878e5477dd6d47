#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace fuzz {

// What is done with one input. A target checks properties with expect(); a crash is found without.
using Target = void (*)(std::string_view input);

// Registers a target under its name: static const bool known = fuzz::add("json", json);
bool add(const char* name, Target target);

// The target of that name, with the log set up for it. Without such a target the program prints the names and ends.
Target find_target(const char* name);

// Ends the program, which the fuzzer takes for a finding, if the property does not hold.
void expect(bool holds, const char* property);

// Takes the first byte off the input; 0 if there is none.
inline std::uint8_t take_byte(std::string_view& input) {
  if (input.empty()) return 0;
  const auto byte = static_cast<std::uint8_t>(input.front());
  input.remove_prefix(1);
  return byte;
}

}  // namespace fuzz
