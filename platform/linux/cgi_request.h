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
  /// the environment (RFC 3875, and REQUEST_* and UNIQUE_ID); the file that standard
  /// input is, or its position, to an earlier one; or, when the last request's form was
  /// read and its contexts are gone, when standard input holds another body of that
  /// length.
  static std::shared_ptr<CgiRequest> Current();

  /// For Current.
  struct Identity {
    Identity() = default;
    Identity(Identity&&) = default;
    ~Identity() { base::Wipe(&variables); }  // cookies are among them

    std::string variables;
    dev_t input_device = 0;
    ino_t input_file = 0;
    off_t input_position = -1;  // -1: the input has none
  };
  explicit CgiRequest(Identity&& identity) : identity_(std::move(identity)) {}
  CgiRequest(const CgiRequest&) = delete;
  CgiRequest& operator=(const CgiRequest&) = delete;
  ~CgiRequest() { WipeValues(&form_); }  // a form may contain a password

  /// The parameters of the form, read from standard input at the first call.  None when
  /// the body is not a form, of unknown length or over the bound: then not a byte of it
  /// is touched.  A body that ends early is no form.
  const TextMap& Form();

 private:
  bool Is(const Identity& identity) const;
  bool HasNextBody() const;

  Identity identity_;
  TextMap form_;
  bool form_was_asked_ = false;
  long form_length_ = 0;  // of the body that was read
};

}  // namespace VEXO::platform
