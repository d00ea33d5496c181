#include "pam_login.h"

#include <fcntl.h>
#include <security/pam_appl.h>
#include <strings.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "base/lazy_library.h"

namespace VEXO::platform {
namespace {

constexpr const char* kPamService = "vexosharing";

struct Pam {
  static constexpr char kLibrary[] = "libpam.so.0";
  decltype(&pam_start) start;
  decltype(&pam_end) end;
  decltype(&pam_set_item) set_item;
  decltype(&pam_putenv) putenv;
  decltype(&pam_authenticate) authenticate;
  decltype(&pam_acct_mgmt) acct_mgmt;
  decltype(&pam_strerror) strerror;

  void Find(base::LazyLibrary& library) {
    library.Find("pam_start", &start);
    library.Find("pam_end", &end);
    library.Find("pam_set_item", &set_item);
    library.Find("pam_putenv", &putenv);
    library.Find("pam_authenticate", &authenticate);
    library.Find("pam_acct_mgmt", &acct_mgmt);
    library.Find("pam_strerror", &strerror);
  }
};

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
  PamSession(const Pam& pam, const VexoCgiLoginRequest& request)
      : pam_(pam), conversation_{Converse, const_cast<char*>(request.password)} {
    status_ = pam_.start(kPamService, request.username, &conversation_, &handle_);
  }
  PamSession(const PamSession&) = delete;
  PamSession& operator=(const PamSession&) = delete;
  ~PamSession() {
    if (handle_ != nullptr) pam_.end(handle_, status_);
  }

  /// Passes the address and the cookies of the visitor to the modules.
  void Describe(const TextMap& cookies) {
    if (status_ != PAM_SUCCESS) return;
    char address[65];
    if (VexoCgiGetRemoteIP(address, sizeof(address)) == 0) {
      status_ = pam_.set_item(handle_, PAM_RHOST, address);
    }
    if (status_ == PAM_SUCCESS && !cookies.empty()) {
      const std::string header = "HTTP_COOKIE=" + CookieHeader(cookies);
      status_ = pam_.putenv(handle_, header.c_str());
    }
  }

  bool Accepts() {
    if (status_ == PAM_SUCCESS) {
      status_ = pam_.authenticate(handle_, PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK);
    }
    if (status_ == PAM_SUCCESS) status_ = pam_.acct_mgmt(handle_, PAM_SILENT);
    return status_ == PAM_SUCCESS;
  }

  const char* Reason() const { return pam_.strerror(handle_, status_); }

 private:
  const Pam& pam_;
  pam_conv conversation_;
  pam_handle_t* handle_ = nullptr;
  int status_;
};

}  // namespace

bool AcceptsPassword(const VexoCgiLoginRequest& request, const TextMap& cookies) {
  const auto* const pam = base::LoadFunctions<Pam>();
  if (pam == nullptr) return false;
  PamSession session(*pam, request);
  session.Describe(cookies);
  if (session.Accepts()) return true;
  // No user name in the log: visitors type passwords into that field.
  syslog(LOG_ERR, "VexoCgiLogin: refused: %s%s", session.Reason(),
         MayCheckPasswords() ? ""
                             : "; pam_unix needs root or the supplementary group shadow,"
                               " and this process has neither");
  return false;
}

}  // namespace VEXO::platform
