#include "drop_response.h"

#include <syslog.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/access_log.h"
#include "base/number.h"
#include "redirect.h"
#include "web/drop/drop_folder.h"
#include "web/drop/header_value.h"
#include "web/drop/upload.h"

namespace web {
namespace {

Response MakeProblem(int status, DropPage page, DropPage::Problem problem) {
  page.problem = problem;
  return MakePage(status, RenderDrop(page));
}

/// The answer to an upload.
Response AnswerResult(UploadResult result, const std::string& thanks,
                      const DropPage& page) {
  using Problem = DropPage::Problem;
  switch (result) {
    case UploadResult::kReceived:
      return MakeRedirect(303, thanks);
    case UploadResult::kNoFile:
      return MakeProblem(400, page, Problem::kNoFile);
    case UploadResult::kTooLarge:
      return MakeProblem(413, page, Problem::kTooLarge);
    case UploadResult::kTooMany:
      return MakeProblem(413, page, Problem::kTooMany);
    case UploadResult::kTextTooLong:
      return MakeProblem(413, page, Problem::kTextTooLong);
    case UploadResult::kIncomplete:
      return MakeProblem(400, page, Problem::kIncomplete);
    case UploadResult::kNoSpace:
      return MakeProblem(507, page, Problem::kNoSpace);
    case UploadResult::kFailed:
      break;
  }
  return MakeTryLater();
}

/// The answer to a form, which `receive` makes: its body has not been read yet.
Response MakeReceiving(const Variables& request, const LinkAddress& address,
                       std::shared_ptr<DropFolder> folder, const DropPage& page) {
  const std::string& length = request.Get("CONTENT_LENGTH");
  if (length.empty()) return MakeMessage(411, Message::kNoLength);
  const auto bytes = VEXO::base::ParseNumber(length, std::uint64_t{0}, UINT64_MAX);
  const std::optional<std::string> boundary = BoundaryOf(request.Get("CONTENT_TYPE"));
  if (!bytes || !boundary) return MakeProblem(400, page, DropPage::Problem::kIncomplete);
  const std::string here =
      EscapeLocation(address.slash ? "./" : "./" + address.last + "/");
  Response response;
  response.visit.event = VEXO::base::kEventUpload;
  response.finish = [folder = std::move(folder), boundary = *boundary, bytes = *bytes,
                     here, page](const Source& read) {
    int files = 0;
    const UploadResult result = ReceiveUpload(*folder, boundary, bytes, read, &files);
    return AnswerResult(result, here + "?sent=" + std::to_string(files), page);
  };
  return response;
}

}  // namespace

bool IsUpload(const Variables& request) {
  const std::optional<HeaderValue> type = ParseHeaderValue(request.Get("CONTENT_TYPE"));
  return request.Get("REQUEST_METHOD") == "POST" && type &&
         type->word == "multipart/form-data";
}

Response MakeDropResponse(const Variables& request, const LinkAddress& address,
                          const Share& share, const Owner& owner, int link,
                          DropPage page) {
  std::unique_ptr<DropFolder> folder;
  switch (DropFolder::Open(share, owner, &folder)) {
    case OpenResult::kAbsent:
      return MakeMessage(404, Message::kGone);
    case OpenResult::kFailed:
      syslog(LOG_ERR, "link %d: the folder cannot receive files: %m", link);
      return MakeMessage(500, Message::kFailed);
    default:
      break;
  }
  page.limits = folder->limits();
  if (IsUpload(request)) {
    return MakeReceiving(request, address, std::move(folder), page);
  }
  page.sent =
      VEXO::base::ParseNumber(address.parameters.Get("sent"), 1, kMostParts).value_or(0);
  return MakePage(200, RenderDrop(page));
}

}  // namespace web
