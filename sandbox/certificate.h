#pragma once

#include <string>

namespace sandbox {

// Writes a fresh certificate for 127.0.0.1 and localhost, signed by itself and good for a day, and its key (readable
// to the owner alone), both in PEM. False if that fails.
bool write_certificate(const std::string& certificate_path, const std::string& key_path);

}  // namespace sandbox
