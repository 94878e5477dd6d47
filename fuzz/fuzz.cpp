#include "fuzz/fuzz.h"

#include <ace/Log_Msg.h>
#include <ace/Log_Msg_Callback.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

namespace fuzz {
namespace {

std::map<std::string, Target>& targets() {
  static std::map<std::string, Target> all;
  return all;
}

// Messages are made, since making them is part of what is tried, and thrown away.
class No_Log : public ACE_Log_Msg_Callback {
  void log(ACE_Log_Record&) override {}
};

}  // namespace

bool add(const char* name, Target target) {
  return targets().emplace(name, target).second;
}

void expect(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", property);
  std::abort();
}

Target find_target(const char* name) {
  static No_Log no_log;
  ACE_LOG_MSG->clr_flags(ACE_Log_Msg::STDERR);
  ACE_LOG_MSG->set_flags(ACE_Log_Msg::MSG_CALLBACK);
  ACE_LOG_MSG->msg_callback(&no_log);

  const auto found = targets().find(name == nullptr ? "" : name);
  if (found != targets().end()) return found->second;
  for (const auto& [known, target] : targets())
    std::puts(known.c_str());
  std::exit(name == nullptr ? 0 : 1);
}

}  // namespace fuzz
