#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/http/http_session.h"
#include "sandbox/catalog_service.h"
#include "sandbox/host.h"

namespace torture {

enum Trait {
  SILENT = 1,     // its header says that it may fail without a message
  QUIET = 2,      // ... that it tells the cause at LM_DEBUG
  ALONE = 4,      // changes what the others see
  OTHER_USER = 8  // takes another user than the caller's
};

// A public operation, run once on the simulated host from the making of its objects to their end.
struct Operation {
  const char* name;
  int traits;
  void (*prepare)();  // makes the host ready for it; null for nothing
  // Its result, and its out-parameters as a text; in "<>" what may be missing, with a message, as its header says.
  std::function<bool(std::string& told)> run;
};

extern const std::vector<Operation> OPERATIONS;

// What a process holds.
struct Holdings {
  Holdings();

  std::size_t descriptors;
  std::size_t threads;
};

// True once no more is held than before; the service may have yet to see the end of a connection.
bool is_given_back(const Holdings& before);

// What was told, without what may be missing.
std::string without_extras(std::string told);

// The host and the service that they work on; made before the first one.
struct World {
  World();

  sandbox::Host host;
  sandbox::Catalog_Service catalog{{}};
  platform::HTTP_Session_var session;  // through which all use the service; null for one each time
};
extern World* world;

}  // namespace torture
