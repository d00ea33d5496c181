#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "web/files/body.h"
#include "web/pages/pages.h"
#include "web/record/record.h"

namespace web {

/// An answer: its body is `content`, or `body` when there is one.  If `finish` is set,
/// calling it makes the final answer, to which the headers set here are added.  It may
/// read the body of the request, which has not been read.
struct Response {
  int status = 200;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string content;
  std::unique_ptr<Body> body;
  LoggedVisit visit;
  std::function<Response(const Source&)> finish;

  void Add(const std::string& name, const std::string& value) {
    headers.emplace_back(name, value);
  }
};

/// An answer without body and type, with the headers that every answer has.
Response MakeResponse(int status, const std::string& policy);

/// An answer with a page in the current language.
///
/// @param form_target  an origin that a form of the page may lead to; empty for none
Response MakePage(int status, std::string html, const std::string& form_target = "");

/// An answer with the page of a folder or a file, which has a script.
Response MakeContentPage(std::string html);

/// An answer with a page that says why nothing else is shown.
Response MakeMessage(int status, Message message);

/// The one answer for everything that is unknown to visitors without access.
Response MakeMissing();

/// The answer when something cannot be done now.  0 seconds means the usual time.
Response MakeTryLater(long seconds = 0);

/// A redirect; `location` is as EscapeLocation returns it.
Response MakeRedirect(int status, const std::string& location);

/// Policies for the bytes of files: nothing in them is run.  A PDF may be shown in a
/// frame of our pages.  A browser loads audio and video a second time, into a page of its
/// own: that page must belong to this site.
extern const char* const kFilePolicy;
extern const char* const kPdfPolicy;
extern const char* const kMediaPolicy;

/// The status line and the headers as a CGI program writes them, Content-Length included
/// where it is known.
std::string FormatHeaders(const Response& response);

}  // namespace web
