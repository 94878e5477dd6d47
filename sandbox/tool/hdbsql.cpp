#include <stdexcept>

#include "sandbox/tool/tool.h"

namespace sandbox {

int run_hdbsql(const Arguments&) {
  throw std::runtime_error("not here yet");
}

}  // namespace sandbox
