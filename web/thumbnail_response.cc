#include "thumbnail_response.h"

#include <ctime>
#include <memory>
#include <optional>
#include <utility>

#include "file_response.h"
#include "pages/pages.h"
#include "web/files/content_disposition.h"

namespace web {
namespace {

/// What the request asks for.
struct Wanted {
  RequestConditions conditions;
  std::string name;
  bool open_link;
};

Response Answer(const Wanted& wanted, const NodeInfo& file, Thumbnail thumbnail) {
  if (thumbnail.state == Thumbnail::State::kNone) return MakeMessage(404, Message::kGone);
  if (thumbnail.state == Thumbnail::State::kLater) return MakeTryLater();
  const time_t now = time(nullptr);
  const CurrentFile current = {ThumbnailTag(file), LastModified(file, now),
                               thumbnail.jpeg.size()};
  Response response =
      StartFileResponse(kFilePolicy, current, wanted.conditions, wanted.open_link, now);
  if (response.status != 200) return response;
  response.Add("Accept-Ranges", "none");
  response.Add("Content-Disposition",
               ContentDisposition(Disposition::kInline, wanted.name + ".jpg"));
  response.Add("Content-Type", "image/jpeg");
  response.content = std::move(thumbnail.jpeg);
  return response;
}

}  // namespace

Response MakeThumbnailResponse(const Variables& request, Node file,
                               const std::string& name, bool open_link,
                               const Thumbnails& thumbnails) {
  if (!MayHaveThumbnail(name)) return MakeMessage(404, Message::kGone);
  const Wanted wanted = {ConditionsOf(request), name, open_link};
  std::optional<Thumbnail> found = thumbnails.Find(file.info);
  if (found) return Answer(wanted, file.info, std::move(*found));
  Response response;
  const auto kept = std::make_shared<Node>(std::move(file));
  response.finish = [wanted, kept, thumbnails](const Source& /*read*/) {
    return Answer(wanted, kept->info, thumbnails.Make(*kept));
  };
  return response;
}

}  // namespace web
