#include "web/content.h"

#include <algorithm>
#include <ctime>
#include <memory>
#include <utility>
#include <vector>

#include "base/access_log.h"
#include "entry.h"
#include "web/drop_response.h"
#include "web/file_response.h"
#include "web/files/body.h"
#include "web/files/neighbours.h"
#include "web/files/shared_tree.h"
#include "web/link_redirect.h"
#include "web/pages/listing_href.h"
#include "web/pages/listing_json.h"
#include "web/pages/pages.h"
#include "web/thumbnail_response.h"
#include "web/thumbnails/thumbnails.h"

namespace web {
namespace {

using VEXO::sharing::VisitAnswer;
using VEXO::sharing::record::Entry;

constexpr size_t kLargestPreview = 1 << 20;

/// The answer, to be recorded as this event.
Response Recorded(const char* event, Response response) {
  response.visit.event = event;
  return response;
}

/// For those who are admitted.
Response MakeGone() {
  return Recorded(VEXO::base::kEventMissing, MakeMessage(404, Message::kGone));
}

bool IsRoot(const LinkAddress& address) { return address.names.empty(); }

bool IsOpen(const Entry& link) {
  return link.get_protect_type() == Entry::PROTECT_NONE && link.get_expire_times() == 0;
}

/// An admitted visitor's request for something that the link shares.
class Content {
 public:
  /// @param url  of the link
  Content(const Variables& request, const LinkAddress& address, const std::string& url,
          const VisitAnswer& answer, const SharedByLink& shared, const Settings& settings)
      : request_(request),
        address_(address),
        url_(url),
        answer_(answer),
        settings_(settings),
        link_(answer.link),
        shared_(shared) {}

  Response Answer();

 private:
  Response Drop() const;
  Response AnswerFileLink();
  Response AnswerBelow();
  Response Folder(Node folder);
  Response Zip(Node folder, const std::string& name, std::vector<std::string> only);
  Response File(Node file, const std::string& name);
  Response FileView(const Node& file, const std::string& name);

  LinkFacts Facts() const;
  std::string Heading() const;
  std::string Path() const { return address_.Path(); }
  std::vector<Crumb> Crumbs(size_t above) const;
  ListingQuery Query() const;
  void FindPicturesAround(const Node& file, FilePage* page) const;
  bool Asks(const char* parameter) const { return address_.parameters.Has(parameter); }

  const Variables& request_;
  const LinkAddress& address_;
  const std::string& url_;
  const VisitAnswer& answer_;
  const Settings& settings_;
  const Entry& link_;
  const SharedByLink& shared_;
  const time_t now_ = time(nullptr);
  std::unique_ptr<SharedTree> tree_;
};

Response Content::Answer() {
  const bool sends = IsUpload(request_);
  if (!sends && !shared_.share.drop && IsRoot(address_) &&
      link_.get_redirect_type() == Entry::REDIRECT_ALWAYS) {
    const std::optional<RedirectTarget> target = RedirectOf(link_);
    if (target) {
      return Recorded(VEXO::base::kEventRedirect, MakeRedirect(303, target->location));
    }
  }
  if (!sends && IsRoot(address_) && !address_.slash) {
    return MakeRedirect(308, WithSlash(address_));
  }
  if (shared_.share.drop) return Drop();
  if (sends) return MakeMessage(415, Message::kFormType);
  const OpenResult opened = SharedTree::Open(shared_.share, shared_.owner, &tree_);
  if (opened == OpenResult::kAbsent) return MakeGone();
  if (opened == OpenResult::kFailed) return MakeTryLater();
  if (!address_.reachable) return MakeGone();
  return tree_->root().info.kind == NodeKind::kFile ? AnswerFileLink() : AnswerBelow();
}

/// Nothing of the folder can be seen: below the root there is nothing.
Response Content::Drop() const {
  if (!IsRoot(address_)) return MakeMessage(404, Message::kGone);
  DropPage page;
  page.title = link_.get_protect_title();
  page.facts = Facts();
  page.facts.address.clear();  // pages with it have a script
  return MakeDropResponse(request_, address_, shared_.share, shared_.owner,
                          link_.get_id(), std::move(page));
}

/// The root is a page; its only entry is the file itself.
Response Content::AnswerFileLink() {
  const std::string& name = tree_->name();
  const bool by_name =
      address_.names.size() == 1 && address_.names[0] == name && !address_.slash;
  if (!IsRoot(address_) && !by_name) return MakeGone();
  Node file;
  if (tree_->OpenNode("", &file) != OpenResult::kOpened) return MakeTryLater();
  const bool page =
      IsRoot(address_) ? !Asks("download") && !Asks("sha256") : Asks("view");
  return page ? FileView(file, name) : File(std::move(file), name);
}

Response Content::AnswerBelow() {
  Node node;
  const OpenResult opened = tree_->OpenNode(Path(), &node);
  if (opened == OpenResult::kAbsent) return MakeGone();
  if (opened == OpenResult::kFailed) return MakeTryLater();
  if (node.info.kind == NodeKind::kFolder) {
    if (!address_.slash) return MakeRedirect(308, WithSlash(address_));
    return Folder(std::move(node));
  }
  const std::string& name = address_.names.back();
  if (Asks("view")) return FileView(node, name);
  return File(std::move(node), name);
}

Response Content::Folder(Node folder) {
  const std::string& name = IsRoot(address_) ? tree_->name() : address_.names.back();
  std::vector<std::string> only = address_.parameters.All("name");
  const bool nothing_selected =
      address_.parameters.Get("zip") == kSelected && only.empty();
  if (Asks("zip") && !nothing_selected) {
    return Zip(std::move(folder), name, std::move(only));
  }
  FolderPage page;
  page.query = Query();
  if (!ReadListing(*tree_, folder, page.query, &page.listing)) return MakeTryLater();
  if (Asks("json")) {
    return Recorded(VEXO::base::kEventList,
                    MakeJsonResponse(RenderListingJson(page.listing, page.query)));
  }
  page.heading = IsRoot(address_) ? Heading() : name;
  page.crumbs = Crumbs(address_.names.size());
  page.facts = Facts();
  page.depth = address_.names.size();
  if (page.query.search.empty() && page.listing.page == 1) {
    page.readme = ReadReadme(*tree_, folder);
  }
  return Recorded(VEXO::base::kEventList, MakeContentPage(RenderFolder(page)));
}

Response Content::Zip(Node folder, const std::string& name,
                      std::vector<std::string> only) {
  for (const std::string& entry : only) {
    Node node;
    const bool is_name = !entry.empty() && entry.find('/') == std::string::npos;
    const OpenResult opened = is_name
                                  ? tree_->OpenNode(JoinPath(folder.path, entry), &node)
                                  : OpenResult::kAbsent;
    if (opened == OpenResult::kAbsent) return MakeGone();
    if (opened == OpenResult::kFailed) return MakeTryLater();
  }
  std::optional<Response> zip =
      MakeZipResponse(std::move(tree_), std::move(folder), name, std::move(only));
  return zip ? std::move(*zip) : MakeTryLater();
}

Response Content::File(Node file, const std::string& name) {
  if (Asks("thumb")) {
    const Thumbnails thumbnails(settings_.thumbnail_bytes);
    return MakeThumbnailResponse(request_, std::move(file), name, IsOpen(link_),
                                 thumbnails);
  }
  if (Asks("sha256")) {
    return Recorded(VEXO::base::kEventView, MakeChecksumResponse(std::move(file), name));
  }
  return MakeFileResponse(request_, std::move(file), name, Asks("download"),
                          IsOpen(link_), now_);
}

Response Content::FileView(const Node& file, const std::string& name) {
  FilePage page;
  page.heading = IsRoot(address_) ? Heading() : name;
  page.name = name;
  page.facts = Facts();
  page.href = EntryHref(name);
  page.download = (IsRoot(address_) ? "" : page.href) + "?download";
  page.size = file.info.size;
  page.modified = file.info.modified.tv_sec;
  page.preview = ContentTypeOf(name).preview;
  if (tree_->root().info.kind == NodeKind::kFolder) {
    page.query = Query();
    page.crumbs = Crumbs(address_.names.size() - 1);
    page.crumbs.push_back({address_.names.size() == 1
                               ? Heading()
                               : address_.names[address_.names.size() - 2],
                           FolderHref(page.query)});
    if (page.preview == Preview::kPicture) FindPicturesAround(file, &page);
  }
  if (page.preview == Preview::kText) {
    TextPreview preview;
    if (!ReadTextPreview(file.fd.get(), kLargestPreview, &preview)) {
      return MakeTryLater();
    }
    page.text = std::move(preview.text);
    page.text_cut = !preview.complete;
  }
  return Recorded(VEXO::base::kEventView, MakeContentPage(RenderFile(page)));
}

/// How the visitor wants to see the folder of the page.
ListingQuery Content::Query() const {
  const Parameters& parameters = address_.parameters;
  ListingQuery query = ParseListingQuery(parameters.Get("sort"), parameters.Get("order"),
                                         parameters.Get("page"), parameters.Get("q"));
  query.below = Asks("below") && !query.search.empty();
  query.grid = parameters.Get("view") == "grid";
  return query;
}

void Content::FindPicturesAround(const Node& file, FilePage* page) const {
  Node folder;
  const std::string path = file.path.substr(0, file.path.rfind('/') + 1);
  if (tree_->OpenNode(path, &folder) != OpenResult::kOpened) return;
  const ListingEntry picture = {page->name, NodeKind::kFile, page->size, page->modified};
  Neighbours found = FindNeighbours(*tree_, folder, page->query, picture);
  page->previous = std::move(found.previous);
  page->next = std::move(found.next);
}

LinkFacts Content::Facts() const {
  LinkFacts facts;
  facts.owner = link_.get_owner_user();
  facts.expires = link_.get_expire_at();
  if (link_.get_expire_times() != 0) {
    facts.uses = std::max(0, link_.get_expire_times() - link_.get_use_count());
  }
  facts.has_session = answer_.has_session;
  facts.address = url_;
  return facts;
}

std::string Content::Heading() const {
  const std::string title = link_.get_protect_title();
  return title.empty() ? tree_->name() : title;
}

/// The folders that are `above` to 1 levels above the folder of the page.
std::vector<Crumb> Content::Crumbs(size_t above) const {
  std::vector<Crumb> crumbs;
  for (size_t i = 0; i < above; ++i) {
    std::string href;
    for (size_t up = i; up < above; ++up) href += "../";
    if (Query().grid) href += "?view=grid";
    crumbs.push_back({i == 0 ? Heading() : address_.names[i - 1], href});
  }
  return crumbs;
}

}  // namespace

std::optional<Response> FindShared(const VisitAnswer& answer, SharedByLink* shared) {
  const Entry& link = answer.link;
  if (link.get_id() == 0 || answer.outcome == SHARING_VISIT_LOGGED_OUT) {
    return std::nullopt;
  }
  const std::optional<Share> share = ReadShare(link.get_app());
  if (!share) return MakeMissing();
  shared->share = *share;
  switch (FindOwner(link.get_owner_uid(), time(nullptr), &shared->owner)) {
    case OwnerLookup::kFound:
      return std::nullopt;
    case OwnerLookup::kGone:
      return MakeMissing();
    case OwnerLookup::kFailed:
      break;
  }
  return MakeTryLater();
}

Response AnswerContent(const Variables& request, const LinkAddress& address,
                       const std::string& url, const VisitAnswer& answer,
                       const SharedByLink& shared, const Settings& settings) {
  return Content(request, address, url, answer, shared, settings).Answer();
}

}  // namespace web
