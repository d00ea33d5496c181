#pragma once

#include "cgi_text.h"
#include "vexo/cgi.h"

namespace VEXO::platform {

/// Whether PAM accepts the user name and the password.  A refusal is logged.
///
/// @param cookies  of the visitor, for the modules
bool AcceptsPassword(const VexoCgiLoginRequest& request, const TextMap& cookies);

}  // namespace VEXO::platform
