#include "vexo/cgi.h"

#include <fcntl.h>
#include <security/pam_appl.h>
#include <strings.h>
#include <syslog.h>
#include <unistd.h>

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

constexpr const char* kPamService = "vexosharing";
constexpr int kOk = 1;
constexpr int kRefused = 0;

void WipeResponses(pam_response* responses, int count) {
  for (int i = 0; i < count; ++i) {
    if (responses[i].resp == nullptr) continue;
    explicit_bzero(responses[i].resp, strlen(responses[i].resp));
    free(responses[i].resp);
  }
  free(responses);
}

/// The conversation function of PAM (pam_conv(3)): it answers prompts without echo with
/// the password.  PAM wipes and releases the responses.
int Converse(int count, const pam_message** messages, pam_response** out,
             void* password) {
  if (count <= 0 || count > PAM_MAX_NUM_MSG) return PAM_CONV_ERR;
  auto* const responses = static_cast<pam_response*>(calloc(count, sizeof(pam_response)));
  if (responses == nullptr) return PAM_BUF_ERR;
  for (int i = 0; i < count; ++i) {
    const int style = messages[i]->msg_style;
    if (style == PAM_TEXT_INFO || style == PAM_ERROR_MSG) continue;
    if (style == PAM_PROMPT_ECHO_OFF) {
      responses[i].resp = strdup(static_cast<const char*>(password));
    }
    if (responses[i].resp == nullptr) {
      WipeResponses(responses, count);
      return style == PAM_PROMPT_ECHO_OFF ? PAM_BUF_ERR : PAM_CONV_ERR;
    }
  }
  *out = responses;
  return PAM_SUCCESS;
}

/// Whether pam_unix can compare passwords in this process.
bool MayCheckPasswords() {
  return getuid() == 0 || geteuid() == 0 ||
         faccessat(AT_FDCWD, "/etc/shadow", R_OK, AT_EACCESS) == 0;
}

/// One conversation with PAM.
class PamSession {
 public:
  explicit PamSession(const VexoCgiLoginRequest& request)
      : conversation_{Converse, const_cast<char*>(request.password)} {
    status_ = pam_start(kPamService, request.username, &conversation_, &handle_);
  }
  PamSession(const PamSession&) = delete;
  PamSession& operator=(const PamSession&) = delete;
  ~PamSession() {
    if (handle_ != nullptr) pam_end(handle_, status_);
  }

  /// Passes the address and the cookies of the visitor to the modules.
  void Describe(const TextMap& cookies) {
    if (status_ != PAM_SUCCESS) return;
    char address[65];
    if (VexoCgiGetRemoteIP(address, sizeof(address)) == 0) {
      status_ = pam_set_item(handle_, PAM_RHOST, address);
    }
    if (status_ == PAM_SUCCESS && !cookies.empty()) {
      const std::string header = "HTTP_COOKIE=" + VEXO::platform::CookieHeader(cookies);
      status_ = pam_putenv(handle_, header.c_str());
    }
  }

  bool Accepts() {
    if (status_ == PAM_SUCCESS) {
      status_ = pam_authenticate(handle_, PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK);
    }
    if (status_ == PAM_SUCCESS) status_ = pam_acct_mgmt(handle_, PAM_SILENT);
    return status_ == PAM_SUCCESS;
  }

  const char* Reason() const { return pam_strerror(handle_, status_); }

 private:
  pam_conv conversation_;
  pam_handle_t* handle_ = nullptr;
  int status_;
};

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
    PamSession session(*request);
    session.Describe(context->state->cookies);
    if (session.Accepts()) return kOk;
    // No user name in the log: visitors type passwords into that field.
    syslog(LOG_ERR, "VexoCgiLogin: refused: %s%s", session.Reason(),
           MayCheckPasswords()
               ? ""
               : "; pam_unix needs root or the supplementary group shadow,"
                 " and this process has neither");
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
