#pragma once

namespace sandbox {

// The files of templates/ and the default host, taken into the program when it is built. A name between two @ is
// filled in when a host is built.
extern const char* const hdb_form;
extern const char* const hdbsrvutil_form;
extern const char* const version_form;
extern const char* const old_version_form;
extern const char* const default_host;

}  // namespace sandbox
