// A web handler of sharing links: a CGI program for links of the project "demo", which
// shows a link's data once the visitor may see it.  The URL of a link is that of the
// program, a slash and the hash.
//
// It shows what every handler has to do.  What to answer is decided by the library
// vexosharing-visit.

#include <vexosharing/sharing_visit.h>

#include <cctype>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>

using VEXO::sharing::Visit;
using VEXO::sharing::VisitAnswer;
using VEXO::sharing::VisitRequest;
using VEXO::sharing::record::Entry;

namespace {

const char kProject[] = "demo";
const char kCookie[] = "demo";
constexpr long kLargestForm = 16L * 1024;

std::string Variable(const char* name) {
  const char* const value = getenv(name);
  return value == nullptr ? "" : value;
}

std::string Decode(const std::string& text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '%' && i + 2 < text.size() &&
                        isxdigit(static_cast<unsigned char>(text[i + 1])) != 0 &&
                        isxdigit(static_cast<unsigned char>(text[i + 2])) != 0;
    if (escape) {
      decoded += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      decoded += text[i] == '+' ? ' ' : text[i];
    }
  }
  return decoded;
}

/// The parts NAME=VALUE of a form or of a Cookie header.  Of several with one name, the
/// first counts.
std::map<std::string, std::string> Split(const std::string& text, char separator) {
  std::map<std::string, std::string> parts;
  for (std::size_t begin = 0; begin < text.size();) {
    std::size_t end = text.find(separator, begin);
    if (end == std::string::npos) end = text.size();
    const std::string part = text.substr(begin, end - begin);
    const std::size_t name = part.find_first_not_of(' ');
    const std::size_t equals = part.find('=');
    if (name != std::string::npos && equals != std::string::npos) {
      parts.emplace(part.substr(name, equals - name), part.substr(equals + 1));
    }
    begin = end + 1;
  }
  return parts;
}

/// The fields of the form.  Bodies of another type or size have none.
std::map<std::string, std::string> ReadForm() {
  const long length = atol(Variable("CONTENT_LENGTH").c_str());
  if (Variable("CONTENT_TYPE") != "application/x-www-form-urlencoded" || length <= 0 ||
      length > kLargestForm) {
    return {};
  }
  std::string body(length, '\0');
  std::cin.read(body.data(), length);
  return Split(body, '&');
}

VisitRequest ReadRequest() {
  const std::string path = Variable("PATH_INFO");
  VisitRequest request;
  request.project = kProject;
  request.hash = path.empty() ? "" : path.substr(1);
  request.method = Variable("REQUEST_METHOD");
  request.remote_address = Variable("REMOTE_ADDR");
  request.forwarded_for = Variable("HTTP_X_FORWARDED_FOR");
  request.fetch_site = Variable("HTTP_SEC_FETCH_SITE");
  request.origin = Variable("HTTP_ORIGIN");
  request.host = Variable("HTTP_HOST");
  request.https = Variable("HTTPS") == "on";
  request.cookie_name = kCookie;
  request.cookie_path = Variable("SCRIPT_NAME") + path;
  request.session_id = Split(Variable("HTTP_COOKIE"), ';')[kCookie];
  if (request.method == "POST") {
    std::map<std::string, std::string> form = ReadForm();
    request.action = Decode(form["action"]);
    request.username = Decode(form["username"]);
    request.password = Decode(form["password"]);
  }
  return request;
}

std::string Escape(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

/// The form that logs in, or the button of an open link.
std::string Form(const VisitAnswer& answer) {
  std::string page = "<h1>" + Escape(answer.link.get_protect_title()) + "</h1>\n";
  switch (answer.problem) {
    case SHARING_VISIT_PASSWORD_WRONG:
      page += "<p>The password is wrong.</p>\n";
      break;
    case SHARING_VISIT_CREDENTIALS_WRONG:
      page += "<p>The user name or password is wrong.</p>\n";
      break;
    default:
      break;
  }
  page += "<form method=post>\n";
  if (answer.link.get_protect_type() == Entry::PROTECT_USER) {
    page += "<input name=username autocomplete=username>\n";
  }
  if (answer.outcome == SHARING_VISIT_LOGIN) {
    page += "<input name=password type=password autocomplete=current-password>\n";
  }
  return page + "<button>Open</button>\n</form>\n";
}

void Send(const std::string& status, const VisitAnswer& answer, const std::string& page) {
  std::cout << "Status: " << status << "\r\n";
  if (!answer.set_cookie.empty()) {
    std::cout << "Set-Cookie: " << answer.set_cookie << "\r\n";
  }
  if (answer.retry_after > 0) {
    std::cout << "Retry-After: " << answer.retry_after << "\r\n";
  }
  std::cout << "Cache-Control: no-store\r\n"
            << "Content-Type: text/html; charset=utf-8\r\n\r\n"
            << page;
}

void Respond(const VisitRequest& request, const VisitAnswer& answer) {
  switch (answer.outcome) {
    case SHARING_VISIT_CONTENT:
      return Send("200 OK", answer,
                  "<pre>" + Escape(answer.link.get_app().toStyledString()) + "</pre>\n");
    case SHARING_VISIT_LOGGED_IN:
    case SHARING_VISIT_LOGGED_OUT:
      // So that a reload of the page does not send the form again.
      std::cout << "Location: " << request.cookie_path << "\r\n";
      return Send("303 See Other", answer, "");
    case SHARING_VISIT_LOGIN:
    case SHARING_VISIT_OPEN:
      return Send("401 Unauthorized", answer, Form(answer));
    case SHARING_VISIT_REFUSED:
      return Send("403 Forbidden", answer, "You have no access to this link.\n");
    case SHARING_VISIT_EARLY:
      return Send("403 Forbidden", answer, "This link opens later.\n");
    case SHARING_VISIT_MISSING:
      return Send("404 Not Found", answer,
                  "This link does not exist or is not available.\n");
    case SHARING_VISIT_USED_UP:
      return Send("410 Gone", answer, "This link cannot be used any more.\n");
    case SHARING_VISIT_BLOCKED:
      return Send("429 Too Many Requests", answer,
                  "Too many attempts. Try again later.\n");
    case SHARING_VISIT_TRY_LATER:
      return Send("503 Service Unavailable", answer, "Try again later.\n");
    case SHARING_VISIT_BAD_METHOD:
      std::cout << "Allow: GET, HEAD, POST\r\n";
      return Send("405 Method Not Allowed", answer, "");
  }
}

}  // namespace

int main() {
  const VisitRequest request = ReadRequest();
  Respond(request, Visit(request));
}
