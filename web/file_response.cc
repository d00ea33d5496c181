#include "file_response.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/access_log.h"
#include "web/files/checksum.h"
#include "web/files/content_disposition.h"
#include "web/files/content_type.h"
#include "web/files/http_date.h"
#include "web/files/ranges.h"
#include "web/files/zip.h"

namespace web {
namespace {

/// A zip file, and the tree that it is read from.
class TreeBody : public Body {
 public:
  TreeBody(std::unique_ptr<SharedTree> tree, std::unique_ptr<Body> body)
      : tree_(std::move(tree)), body_(std::move(body)) {}

  std::optional<std::uint64_t> Length() const override { return body_->Length(); }
  bool Send(const Sink& sink) override { return body_->Send(sink); }

 private:
  std::unique_ptr<SharedTree> tree_;  // outlives the body
  std::unique_ptr<Body> body_;
};

std::optional<std::string> HeaderOf(const Variables& request, const std::string& name) {
  if (!request.Has(name)) return std::nullopt;
  return request.Get(name);
}

const char* PolicyOf(Preview preview) {
  switch (preview) {
    case Preview::kPdf:
      return kPdfPolicy;
    case Preview::kAudio:
    case Preview::kVideo:
      return kMediaPolicy;
    default:
      return kFilePolicy;
  }
}

void AddRanges(const std::vector<ByteRange>& ranges, Node file, const std::string& type,
               Response* response) {
  const std::uint64_t size = file.info.size;
  if (ranges.size() == 1) {
    const ByteRange& range = ranges.front();
    response->Add("Content-Type", type);
    response->Add("Content-Range", ContentRange(range, size));
    response->body = std::make_unique<FileBody>(std::move(file.fd), range.first,
                                                range.last - range.first + 1);
    return;
  }
  auto body = std::make_unique<MultipartBody>(std::move(file.fd), size, type, ranges);
  response->Add("Content-Type", body->ContentType());
  response->body = std::move(body);
}

/// The head of an answer that is made from files, so that it has neither ranges nor
/// conditions.
Response MakeComputed(const std::string& type) {
  Response response = MakeResponse(200, kFilePolicy);
  response.Add("Cache-Control", "no-store");
  response.Add("Content-Type", type);
  response.Add("Accept-Ranges", "none");
  return response;
}

}  // namespace

RequestConditions ConditionsOf(const Variables& request) {
  RequestConditions conditions;
  conditions.if_match = HeaderOf(request, "HTTP_IF_MATCH");
  conditions.if_unmodified_since = HeaderOf(request, "HTTP_IF_UNMODIFIED_SINCE");
  conditions.if_none_match = HeaderOf(request, "HTTP_IF_NONE_MATCH");
  conditions.if_modified_since = HeaderOf(request, "HTTP_IF_MODIFIED_SINCE");
  conditions.if_range = HeaderOf(request, "HTTP_IF_RANGE");
  conditions.range = HeaderOf(request, "HTTP_RANGE");
  return conditions;
}

Response StartFileResponse(const char* policy, const CurrentFile& file,
                           const RequestConditions& conditions, bool open_link,
                           time_t now) {
  Response response = MakeResponse(200, policy);
  response.Add("Cache-Control", open_link ? "private, no-cache" : "no-store");
  response.Add("ETag", file.etag);
  response.Add("Last-Modified", FormatHttpDate(file.last_modified));
  const Precondition precondition = EvaluatePreconditions(conditions, file, now);
  if (precondition == Precondition::kFailed) response.status = 412;
  if (precondition == Precondition::kNotModified) response.status = 304;
  return response;
}

Response MakeFileResponse(const Variables& request, Node file, const std::string& name,
                          bool attachment, bool open_link, time_t now) {
  const ContentType type = ContentTypeOf(name);
  const RequestConditions conditions = ConditionsOf(request);
  const CurrentFile current = {EntityTag(file.info), LastModified(file.info, now),
                               file.info.size};
  const bool shown = type.Inline() && !attachment;
  Response response = StartFileResponse(shown ? PolicyOf(type.preview) : kFilePolicy,
                                        current, conditions, open_link, now);
  if (response.status != 200) return response;
  RangeSelection selection;
  const bool is_get = request.Get("REQUEST_METHOD") == "GET";
  if (is_get) selection = SelectRanges(conditions, current, now);
  // Some servers cut the ranges out of a whole file themselves unless it refuses that.
  const bool refused = is_get && request.Has("HTTP_RANGE") &&
                       selection.kind == RangeSelection::Kind::kWhole;
  response.Add("Accept-Ranges", refused ? "none" : "bytes");
  if (selection.kind == RangeSelection::Kind::kUnsatisfiable) {
    response.status = 416;
    response.Add("Content-Range", UnsatisfiedContentRange(current.size));
    return response;
  }
  response.Add(
      "Content-Disposition",
      ContentDisposition(shown ? Disposition::kInline : Disposition::kAttachment, name));
  if (selection.kind == RangeSelection::Kind::kPart) {
    response.status = 206;
    // A player asks for many parts of one file; the beginning tells that it was opened.
    const bool begins =
        std::any_of(selection.ranges.begin(), selection.ranges.end(),
                    [](const ByteRange& range) { return range.first == 0; });
    response.visit.event = begins ? VEXO::base::kEventDownload : VEXO::base::kEventPart;
    AddRanges(selection.ranges, std::move(file), type.type, &response);
  } else {
    response.visit.event = VEXO::base::kEventDownload;
    response.Add("Content-Type", type.type);
    response.body = std::make_unique<FileBody>(std::move(file.fd), 0, current.size);
  }
  return response;
}

Response MakeChecksumResponse(Node file, const std::string& name) {
  Response response = MakeComputed("text/plain; charset=utf-8");
  response.body =
      std::make_unique<ChecksumBody>(std::move(file.fd), file.info.size, name);
  return response;
}

Response MakeJsonResponse(std::string json) {
  Response response = MakeComputed("application/json");
  response.content = std::move(json);
  return response;
}

std::optional<Response> MakeZipResponse(std::unique_ptr<SharedTree> tree, Node folder,
                                        const std::string& name,
                                        std::vector<std::string> only) {
  std::unique_ptr<Body> zip = ZipFolder(*tree, std::move(folder), name, std::move(only));
  if (zip == nullptr) return std::nullopt;
  Response response = MakeComputed("application/zip");
  response.visit.event = VEXO::base::kEventZip;
  response.Add("Content-Disposition",
               ContentDisposition(Disposition::kAttachment, name + ".zip"));
  response.body = std::make_unique<TreeBody>(std::move(tree), std::move(zip));
  return response;
}

}  // namespace web
