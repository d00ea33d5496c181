#pragma once

#include <string>

namespace web {

/// The value of the first cookie with this name in a Cookie header (RFC 6265, 4.2); empty
/// when there is none.
std::string FindCookie(const std::string& header, const std::string& name);

}  // namespace web
