#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <utility>

#include "base/wipe.h"
#include "cgi_text.h"

namespace VEXO::platform {

/// The value of a variable of the request; empty when there is none.
const char* CgiVariable(const char* name);

/// The request that the process serves: its variables and its form.  Contexts of one
/// request share one object, so that the form is read once.
class CgiRequest {
 public:
  /// The request at hand.  A process that serves one request after the other is in a new
  /// one when one of these has changed since the last call: a variable of the request in
  /// the environment (RFC 3875, and REQUEST_* and UNIQUE_ID; not those that a handler
  /// sets after a login); or the file that standard input is, or its position, to an
  /// earlier one.
  ///
  /// When a form was read from this input and it cannot seek, it cannot be read twice,
  /// and a handler may have changed a variable of its own request.  Then the process is
  /// in a new request when the body or the connection is described otherwise, or when
  /// another whole form is waiting: after a change of the variables, or once no context
  /// of the last request is left.
  static std::shared_ptr<CgiRequest> Current();

  /// For Current.
  struct Identity {
    Identity() = default;
    Identity(Identity&&) = default;
    ~Identity() { base::Wipe(&variables); }  // cookies are among them

    std::string variables;
    std::string origin;  // those of the connection and the body
    dev_t input_device = 0;
    ino_t input_file = 0;
    off_t input_position = -1;  // -1: the input has none
  };
  CgiRequest(Identity&& identity, bool input_is_spent)
      : identity_(std::move(identity)), input_is_spent_(input_is_spent) {}
  CgiRequest(const CgiRequest&) = delete;
  CgiRequest& operator=(const CgiRequest&) = delete;
  ~CgiRequest() { WipeValues(&form_); }  // a form may contain a password

  /// The parameters of the form, read from standard input at the first call.  None when
  /// the body is not a form, of unknown length or over the bound: then not a byte of it
  /// is touched.  A body that ends early is no form.  Waits for the body, but not on an
  /// input that cannot seek and that another form was read from.
  const TextMap& Form();

 private:
  bool IsOver(const Identity& identity, bool unused) const;
  bool HasSpent(const Identity& identity) const;

  Identity identity_;
  TextMap form_;
  bool form_was_asked_ = false;
  bool input_is_spent_;  // a form was read from it, and it cannot seek
};

}  // namespace VEXO::platform
