#pragma once

namespace sandbox {

// How a sandbox is entered.
enum class Way {
  none,        // not at all
  namespaces,  // by root: private namespaces, true users
  one_user,    // by an ordinary user: private namespaces, and no second user in them
  plain,       // by root where namespaces are refused: the machine's own /usr/sap, one sandbox at a time
};

// The way in which this process is inside a sandbox.
Way way_inside();

// Whether processes inside can run as another user than this one.
inline bool second_user_available() {
  return way_inside() != Way::one_user;
}

}  // namespace sandbox
