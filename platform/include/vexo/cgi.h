#pragma once

#include <stddef.h>

/// @file
/// The request that a CGI program serves (RFC 3875), as the platform sees it.
///
/// A process may serve one request after the other.  A new request begins when a request
/// variable in the environment has changed (those of RFC 3875, REQUEST_* and UNIQUE_ID),
/// or standard input (another file, or an earlier position in it).  A host that changes
/// neither between two requests must put a new file in place of standard input.

struct VexoCgiState;

/// One user's view of the request.  The caller allocates it, zeroed, and releases what it
/// holds with VexoCgiFree.
struct VexoCgiContext {
  struct VexoCgiState* state;
};

/// Credentials for VexoCgiLogin.  The strings stay the caller's.
struct VexoCgiLoginRequest {
  const char* username;
  const char* password;
  const char* application;
  int reserved1;
  int reserved2;
};

#ifdef __cplusplus
extern "C" {
#endif

/// Prepares a zeroed context.  1 on success.
int VexoCgiInit(const char* name, struct VexoCgiContext* context);

/// Takes the request's cookies from HTTP_COOKIE.
void VexoCgiLoadInCookies(struct VexoCgiContext* context);

/// Decoded value of a query or form parameter, owned by the context; null when there is
/// none.  The query string is looked at first; the body only when it is
/// application/x-www-form-urlencoded and at most 64 KiB.  It is read once per request,
/// for all contexts.
const char* VexoCgiGetRequestParam(struct VexoCgiContext* context, const char* name,
                                   int reserved);

/// Sets a cookie in the context, and so for the login that follows.  1 on success; a name
/// or value that could break a header line is refused.
int VexoCgiSetCookies(struct VexoCgiContext* context, const char* name, const char* value,
                      long expires, const char* path, const char* domain, int secure);

/// Whether the appliance accepts the credentials: 1 when it does.  A null or empty user
/// name or password is refused without asking.
int VexoCgiLogin(struct VexoCgiContext* context, char* out, size_t size,
                 const struct VexoCgiLoginRequest* request);

/// Writes the client's address in canonical form (IPv4-mapped IPv6 as IPv4).  -1 when
/// there is none, it is not an address, or it does not fit.
int VexoCgiGetRemoteIP(char* buffer, size_t size);

/// 1 when logins from the address are refused now: it is blocked, or failed logins cannot
/// be counted (vexo/autoblock.h).  Logs a refusal.
int VexoCgiIsDeniedIP(const char* address);

/// Releases what the context holds; a context that is all zeros is allowed.
void VexoCgiFree(struct VexoCgiContext* context);

#ifdef __cplusplus
}
#endif
