#include "response.h"

#include <optional>

#include "language.h"

namespace web {
namespace {

constexpr long kRetryAfter = 10;

const char* ReasonOf(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 206:
      return "Partial Content";
    case 303:
      return "See Other";
    case 304:
      return "Not Modified";
    case 308:
      return "Permanent Redirect";
    case 400:
      return "Bad Request";
    case 401:
      return "Unauthorized";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 410:
      return "Gone";
    case 411:
      return "Length Required";
    case 412:
      return "Precondition Failed";
    case 413:
      return "Content Too Large";
    case 414:
      return "URI Too Long";
    case 415:
      return "Unsupported Media Type";
    case 416:
      return "Range Not Satisfiable";
    case 429:
      return "Too Many Requests";
    case 431:
      return "Request Header Fields Too Large";
    case 503:
      return "Service Unavailable";
    case 507:
      return "Insufficient Storage";
    default:
      return "Internal Server Error";
  }
}

/// @param more  directives, each with a semicolon at its end
std::string PagePolicy(const std::string& form_target, const std::string& more = "") {
  return std::string("default-src 'none'; style-src ") + kStyleHash + "; " + more +
         "img-src 'self' data:; media-src 'self'; frame-src 'self'; form-action "
         "'self'" +
         (form_target.empty() ? "" : " " + form_target) +
         "; base-uri 'none'; frame-ancestors 'none'";
}

Response MakeHtml(int status, std::string html, const std::string& policy) {
  Response response = MakeResponse(status, policy);
  response.Add("Cache-Control", "no-store");
  response.Add("Content-Type", "text/html; charset=utf-8");
  response.Add("Content-Language", CurrentLanguage());
  response.Add("Vary", "Accept-Language, Cookie");
  response.Add("Accept-Ranges", "none");
  response.content = std::move(html);
  return response;
}

std::optional<std::uint64_t> LengthOf(const Response& response) {
  if (response.body != nullptr) return response.body->Length();
  if (response.status == 304) return std::nullopt;  // would be that of the file
  return response.content.size();
}

}  // namespace

const char* const kFilePolicy = "default-src 'none'; style-src 'unsafe-inline'; sandbox";
const char* const kPdfPolicy =
    "default-src 'none'; style-src 'unsafe-inline'; sandbox; frame-ancestors 'self'";
const char* const kMediaPolicy =
    "default-src 'none'; style-src 'unsafe-inline'; sandbox allow-same-origin; "
    "media-src 'self'";

Response MakeResponse(int status, const std::string& policy) {
  Response response;
  response.status = status;
  response.Add("Content-Security-Policy", policy);
  response.Add("X-Content-Type-Options", "nosniff");
  response.Add("Referrer-Policy", "same-origin");
  response.Add("Cross-Origin-Resource-Policy", "same-origin");
  response.Add("X-Robots-Tag", "noindex, nofollow");
  return response;
}

Response MakePage(int status, std::string html, const std::string& form_target) {
  return MakeHtml(status, std::move(html), PagePolicy(form_target));
}

Response MakeContentPage(std::string html) {
  return MakeHtml(200, std::move(html),
                  PagePolicy("", "script-src " + std::string(kCopyHash) + "; "));
}

Response MakeMessage(int status, Message message) {
  return MakePage(status, RenderMessage(message));
}

Response MakeMissing() { return MakeMessage(404, Message::kMissing); }

Response MakeTryLater(long seconds) {
  Response response = MakeMessage(503, Message::kTryLater);
  response.Add("Retry-After", std::to_string(seconds > 0 ? seconds : kRetryAfter));
  return response;
}

Response MakeRedirect(int status, const std::string& location) {
  Response response = MakeResponse(status, PagePolicy(""));
  response.Add("Cache-Control", "no-store");
  response.Add("Location", location);
  return response;
}

std::string FormatHeaders(const Response& response) {
  std::string text = "Status: " + std::to_string(response.status) + " " +
                     ReasonOf(response.status) + "\r\n";
  for (const auto& [name, value] : response.headers) {
    text.append(name).append(": ").append(value).append("\r\n");
  }
  const std::optional<std::uint64_t> length = LengthOf(response);
  if (length) text += "Content-Length: " + std::to_string(*length) + "\r\n";
  return text + "\r\n";
}

}  // namespace web
