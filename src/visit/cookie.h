#pragma once

#include <string>
#include <string_view>

namespace VEXO::sharing {

struct VisitRequest;

/// Whether name and path of the handler's cookie can be sent in a header.
bool CanSetCookie(const VisitRequest& request);

/// Whether the text can be the value of a cookie.
bool IsCookieValue(std::string_view text);

/// The Set-Cookie header that gives the visitor a session; empty when the id is not the
/// value of a cookie.  The request must be one for which CanSetCookie is true.
std::string SessionCookie(const VisitRequest& request, const std::string& session_id);

/// The Set-Cookie header that deletes the cookie; empty when name or path cannot be sent.
std::string DeletedCookie(const VisitRequest& request);

}  // namespace VEXO::sharing
