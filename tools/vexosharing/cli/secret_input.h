#pragma once

#include <string>

#include "admin/secret.h"

namespace command {

/// Reads the next line of standard input and nothing beyond it.  On a terminal, prompts
/// for `what` ("password") and does not echo the answer.  False, reported, when there is
/// none.
bool ReadSecret(const std::string& what, admin::Secret& secret);

/// Reads a password from the first line of a file.  False, reported, when there is none
/// or when all users may read the file.
bool ReadSecretFile(const std::string& path, admin::Secret& secret);

}  // namespace command
