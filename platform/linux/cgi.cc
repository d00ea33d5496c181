#include "vexo/cgi.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "address.h"
#include "catch_bad_alloc.h"
#include "cgi_request.h"
#include "cgi_text.h"
#include "configuration.h"
#include "login_block.h"
#include "pam_login.h"

using VEXO::platform::Address;
using VEXO::platform::CatchBadAlloc;
using VEXO::platform::CgiVariable;
using VEXO::platform::TextMap;

struct VexoCgiState {
  VexoCgiState() = default;
  VexoCgiState(const VexoCgiState&) = delete;
  VexoCgiState& operator=(const VexoCgiState&) = delete;
  ~VexoCgiState() {
    VEXO::platform::WipeValues(&query);
    VEXO::platform::WipeValues(&cookies);
  }

  std::shared_ptr<VEXO::platform::CgiRequest> request;
  TextMap query;
  TextMap cookies;
};

namespace {

constexpr int kOk = 1;
constexpr int kRefused = 0;

bool IsEmpty(const char* text) { return text == nullptr || *text == '\0'; }

}  // namespace

int VexoCgiInit(const char* /*name*/, VexoCgiContext* context) {
  if (context == nullptr) {
    errno = EINVAL;
    return kRefused;
  }
  return CatchBadAlloc(kRefused, [context] {
    auto state = std::make_unique<VexoCgiState>();
    state->request = VEXO::platform::CgiRequest::Current();
    state->query = VEXO::platform::ParseForm(CgiVariable("QUERY_STRING"));
    context->state = state.release();
    return kOk;
  });
}

void VexoCgiLoadInCookies(VexoCgiContext* context) {
  if (context == nullptr || context->state == nullptr) return;
  CatchBadAlloc(kRefused, [context] {
    context->state->cookies = VEXO::platform::ParseCookies(CgiVariable("HTTP_COOKIE"));
    return kOk;
  });
}

const char* VexoCgiGetRequestParam(VexoCgiContext* context, const char* name,
                                   int /*reserved*/) {
  if (context == nullptr || context->state == nullptr || name == nullptr) return nullptr;
  return CatchBadAlloc<const char*>(nullptr, [context, name]() -> const char* {
    const TextMap& query = context->state->query;
    const auto in_query = query.find(name);
    if (in_query != query.end()) return in_query->second.c_str();
    const TextMap& form = context->state->request->Form();
    const auto in_form = form.find(name);
    return in_form == form.end() ? nullptr : in_form->second.c_str();
  });
}

int VexoCgiSetCookies(VexoCgiContext* context, const char* name, const char* value,
                      long /*expires*/, const char* path, const char* domain,
                      int /*secure*/) {
  if (context == nullptr || context->state == nullptr || name == nullptr ||
      value == nullptr) {
    errno = EINVAL;
    return kRefused;
  }
  return CatchBadAlloc(kRefused, [&] {
    if (!VEXO::platform::IsCookieName(name) || !VEXO::platform::IsCookieValue(value) ||
        (path != nullptr && !VEXO::platform::IsCookieAttribute(path)) ||
        (domain != nullptr && !VEXO::platform::IsCookieAttribute(domain))) {
      errno = EINVAL;
      return kRefused;
    }
    context->state->cookies.insert_or_assign(name, value);
    return kOk;
  });
}

int VexoCgiLogin(VexoCgiContext* context, char* out, size_t size,
                 const VexoCgiLoginRequest* request) {
  if (out != nullptr && size > 0) *out = '\0';
  if (context == nullptr || context->state == nullptr || request == nullptr ||
      IsEmpty(request->username) || IsEmpty(request->password)) {
    errno = EINVAL;
    return kRefused;
  }
  return CatchBadAlloc(kRefused, [context, request] {
    if (VEXO::platform::AcceptsPassword(*request, context->state->cookies)) return kOk;
    errno = EACCES;
    return kRefused;
  });
}

int VexoCgiGetRemoteIP(char* buffer, size_t size) {
  return CatchBadAlloc(-1, [buffer, size] {
    const std::optional<Address> remote = Address::Parse(CgiVariable("REMOTE_ADDR"));
    if (!remote) {
      errno = EINVAL;
      return -1;
    }
    Address client = *remote;
    const char* const forwarded = getenv("HTTP_X_FORWARDED_FOR");
    if (forwarded != nullptr) {
      client = VEXO::platform::ClientAddress(
          *remote, forwarded, VEXO::platform::SystemConfiguration().trusted_proxies);
    }
    const std::string text = client.Text();
    if (buffer == nullptr || text.size() >= size) {
      errno = ERANGE;
      return -1;
    }
    memcpy(buffer, text.c_str(), text.size() + 1);
    return 0;
  });
}

int VexoCgiIsDeniedIP(const char* address) {
  // An address that cannot be checked is refused, also when memory runs out.
  return CatchBadAlloc(
      1, [address] { return VEXO::platform::RefusesLogin(address) ? 1 : 0; });
}

void VexoCgiFree(VexoCgiContext* context) {
  if (context == nullptr) return;
  delete context->state;
  context->state = nullptr;
}
