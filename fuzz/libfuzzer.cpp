// Lets libFuzzer drive the target that the environment variable FUZZ_TARGET names; without it, prints the names.
#include <cstdlib>

#include "fuzz/fuzz.h"

namespace {

fuzz::Target target;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  target = fuzz::find_target(std::getenv("FUZZ_TARGET"));
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  target(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
