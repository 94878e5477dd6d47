#pragma once

#include <sys/types.h>

#include <string>

#include "platform/export.h"

namespace platform {

// Puts together a path below the product's state directory. Only text is made: nothing is looked at or created.
class GUSTAIKRUM_EXPORT Path_Conf {
 public:
  // `base`, "/" and `component`. `base` may hold a placeholder, such as "$COMPONENT", for fix(). Whether the component
  // is a directory and the mode that it should have say nothing about the text; they are accepted and unused.
  Path_Conf(const std::string& base, bool component_is_directory, const std::string& component, mode_t mode);

  // Adds "/" and the component.
  void append(const std::string& component);

  // Puts the value in the place of the first `placeholder`. A path without one stays as it is.
  void fix(const std::string& placeholder, const std::string& value);

  // The path as it stands by now.
  const std::string& str() const { return prefix_; }

 private:
  std::string prefix_;
};

}  // namespace platform
