#include "handler.h"

#include <strings.h>
#include <syslog.h>

#include <algorithm>
#include <ctime>
#include <memory>

#include "base/access_log.h"
#include "base/text.h"
#include "base/wipe.h"
#include "drop_response.h"
#include "entry.h"
#include "entry_db.h"
#include "file_response.h"
#include "language.h"
#include "link_address.h"
#include "pages/listing_href.h"
#include "pages/listing_json.h"
#include "pages/pages.h"
#include "parameters.h"
#include "redirect.h"
#include "sharing_db.h"
#include "sharing_visit.h"
#include "thumbnail_response.h"
#include "visit_request.h"
#include "web/files/body.h"
#include "web/files/neighbours.h"
#include "web/files/owner.h"
#include "web/files/share.h"
#include "web/files/shared_tree.h"
#include "web/record/visit_record.h"
#include "web/thumbnails/thumbnails.h"

namespace web {
namespace {

using VEXO::sharing::VisitAnswer;
using VEXO::sharing::VisitRequest;
using VEXO::sharing::record::Entry;

constexpr size_t kLargestTarget = 8 << 10;
constexpr size_t kLargestVariables = 64 << 10;
constexpr size_t kLargestForm = 16 << 10;
constexpr size_t kLargestPreview = 1 << 20;

// The action of a form with files: the decision needs no field of it, and its body is
// read only for those who are admitted.
const char kSend[] = "send";

const char kRealm[] = "Form realm=\"sharing\"";
const char kMethods[] = "GET, HEAD, POST";

/// The answer, to be recorded as this event.
Response Recorded(const char* event, Response response) {
  response.record.event = event;
  return response;
}

/// The one answer for everything that is unknown to strangers.
Response MakeMissing() { return MakeMessage(404, Message::kMissing); }

/// For those who are admitted.
Response MakeGone() {
  return Recorded(VEXO::base::kEventMissing, MakeMessage(404, Message::kGone));
}

/// The address of the request, relative to itself.
std::string SameAddress(const LinkAddress& address) {
  const std::string query = address.query.empty() ? "" : "?" + address.query;
  return EscapeLocation("./" + (address.slash ? "" : address.last) + query);
}

/// The same with a slash at the end of the path.
std::string WithSlash(const LinkAddress& address) {
  const std::string query = address.query.empty() ? "" : "?" + address.query;
  return EscapeLocation("./" + address.last + "/" + query);
}

bool IsRoot(const LinkAddress& address) { return address.names.empty(); }

/// The redirect URI of the link, where it has one that may be used.
std::optional<RedirectTarget> RedirectOf(const Entry& link) {
  if (link.get_redirect_type() == Entry::REDIRECT_NONE) return std::nullopt;
  std::optional<RedirectTarget> target = ParseRedirectUri(link.get_redirect_uri());
  if (!target) {
    syslog(LOG_WARNING,
           "link %d: redirect URI ignored: neither a URL nor a path of this site",
           link.get_id());
  }
  return target;
}

/// Where a visitor goes who has just logged in.
std::string AfterLogin(const LinkAddress& address, const Entry& link) {
  if (link.get_redirect_type() != Entry::REDIRECT_URLPARAM) return SameAddress(address);
  const std::string* const to = address.parameters.Find("to");
  std::optional<RedirectTarget> target;
  if (to != nullptr) {
    target = ParseSitePath(*to);
    if (!target) {
      syslog(LOG_WARNING, "link %d: parameter \"to\" ignored: not a path of this site",
             link.get_id());
    }
  }
  if (!target) target = RedirectOf(link);
  return target ? target->location : SameAddress(address);
}

/// The origin that the forms of the link may lead to, for the policy of their page.
std::string FormTarget(const Entry& link) {
  const std::optional<RedirectTarget> target = RedirectOf(link);
  return target ? target->origin : "";
}

LoginPage::Problem ProblemOf(VexoSharingVisitProblem problem) {
  switch (problem) {
    case SHARING_VISIT_PASSWORD_EMPTY:
      return LoginPage::Problem::kPasswordEmpty;
    case SHARING_VISIT_USERNAME_EMPTY:
      return LoginPage::Problem::kUsernameEmpty;
    case SHARING_VISIT_PASSWORD_WRONG:
      return LoginPage::Problem::kPasswordWrong;
    case SHARING_VISIT_CREDENTIALS_WRONG:
      return LoginPage::Problem::kCredentialsWrong;
    default:
      return LoginPage::Problem::kNone;
  }
}

Response MakeLogin(const VisitRequest& visit, const VisitAnswer& answer) {
  LoginPage page;
  page.title = answer.link.get_protect_title();
  page.users = answer.link.get_protect_type() == Entry::PROTECT_USER;
  page.username = visit.username;
  page.problem = ProblemOf(answer.problem);
  Response response = MakePage(401, RenderLogin(page), FormTarget(answer.link));
  response.Add("WWW-Authenticate", kRealm);
  return response;
}

Response MakeOpen(const Entry& link) {
  Response response =
      MakePage(401, RenderOpen(link.get_protect_title()), FormTarget(link));
  response.Add("WWW-Authenticate", kRealm);
  return response;
}

Response MakeEarly(const VisitAnswer& answer) {
  Response response = MakePage(403, RenderEarly(answer.link.get_start_at()));
  response.Add("Retry-After", std::to_string(answer.retry_after));
  return response;
}

bool IsOpen(const Entry& link) {
  return link.get_protect_type() == Entry::PROTECT_NONE && link.get_expire_times() == 0;
}

/// What a link shares, and as whom.
struct SharedByLink {
  Share share;
  Owner owner;
};

/// Finds what the link of an answer, if it has one, shares.  Returns the answer where the
/// link is not usable: it names no path, or its owner's account is gone.
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
  return MakeTryLater(0);
}

/// An admitted visitor's request for something that the link shares.
class Content {
 public:
  /// @param url  of the link
  Content(const Variables& request, const LinkAddress& address, std::string url,
          const VisitAnswer& answer, const SharedByLink& shared, const Settings& settings)
      : request_(request),
        address_(address),
        url_(std::move(url)),
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
  const std::string url_;
  const VisitAnswer& answer_;
  const Settings& settings_;
  const Entry& link_;
  const SharedByLink& shared_;
  const time_t now_ = time(nullptr);
  std::unique_ptr<SharedTree> tree_;
};

Response Content::Answer() {
  const bool sends = SendsFiles(request_);
  if (!sends && IsRoot(address_) && link_.get_redirect_type() == Entry::REDIRECT_ALWAYS) {
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
  if (opened == OpenResult::kFailed) return MakeTryLater(0);
  if (!address_.reachable) return MakeGone();
  return tree_->root().info.kind == NodeKind::kFile ? AnswerFileLink() : AnswerBelow();
}

/// Nothing of the folder can be seen: below the root there is nothing.
Response Content::Drop() const {
  if (!IsRoot(address_)) return MakeGone();
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
  if (tree_->OpenNode("", &file) != OpenResult::kOpened) return MakeTryLater(0);
  const bool page =
      IsRoot(address_) ? !Asks("download") && !Asks("sha256") : Asks("view");
  return page ? FileView(file, name) : File(std::move(file), name);
}

Response Content::AnswerBelow() {
  Node node;
  const OpenResult opened = tree_->OpenNode(Path(), &node);
  if (opened == OpenResult::kAbsent) return MakeGone();
  if (opened == OpenResult::kFailed) return MakeTryLater(0);
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
  if (!ReadListing(*tree_, folder, page.query, &page.listing)) return MakeTryLater(0);
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
    if (opened == OpenResult::kFailed) return MakeTryLater(0);
  }
  std::optional<Response> zip =
      MakeZipResponse(std::move(tree_), std::move(folder), name, std::move(only));
  return zip ? std::move(*zip) : MakeTryLater(0);
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
      return MakeTryLater(0);
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

/// Reads the form of a POST request.  Returns the answer where that fails.
std::optional<Response> ReadForm(const Variables& request, const ReadBody& read_body,
                                 Parameters* form) {
  std::optional<std::string> body = read_body(kLargestForm);
  if (!body) return MakeMessage(400, Message::kBadRequest);
  if (body->size() > kLargestForm) return MakeMessage(413, Message::kFormTooLarge);
  const std::string type = VEXO::base::Split(request.Get("CONTENT_TYPE"), ";").front();
  const bool urlencoded =
      strcasecmp(type.c_str(), "application/x-www-form-urlencoded") == 0;
  if (!body->empty() && !urlencoded) return MakeMessage(415, Message::kFormType);
  std::optional<Parameters> parsed = Parameters::Parse(*body);
  VEXO::base::Wipe(&*body);
  if (!parsed) return MakeMessage(400, Message::kBadRequest);
  *form = std::move(*parsed);
  return std::nullopt;
}

Response MakeAnswer(const Variables& request, const LinkAddress& address,
                    const Site& site, const VisitRequest& visit,
                    const VisitAnswer& answer, const Settings& settings) {
  SharedByLink shared;
  if (std::optional<Response> unusable = FindShared(answer, &shared))
    return std::move(*unusable);
  switch (answer.outcome) {
    case SHARING_VISIT_CONTENT:
      return Content(request, address,
                     site.LinkUrl(visit.host, visit.https, visit.cookie_path), answer,
                     shared, settings)
          .Answer();
    case SHARING_VISIT_LOGGED_IN:
      return MakeRedirect(303, AfterLogin(address, answer.link));
    case SHARING_VISIT_LOGGED_OUT:
      return MakeRedirect(303, SameAddress(address));
    case SHARING_VISIT_LOGIN:
      return MakeLogin(visit, answer);
    case SHARING_VISIT_OPEN:
      return MakeOpen(answer.link);
    case SHARING_VISIT_REFUSED:
      return MakeMessage(403, answer.problem == SHARING_VISIT_CROSS_SITE
                                  ? Message::kCrossSite
                                  : Message::kNotAdmitted);
    case SHARING_VISIT_EARLY:
      return MakeEarly(answer);
    case SHARING_VISIT_USED_UP:
      return MakeMessage(410, Message::kUsedUp);
    case SHARING_VISIT_BLOCKED: {
      Response response = MakeMessage(429, Message::kBlocked);
      response.Add("Retry-After", std::to_string(std::max(1L, answer.retry_after)));
      return response;
    }
    case SHARING_VISIT_TRY_LATER:
      return MakeTryLater(answer.retry_after);
    case SHARING_VISIT_BAD_METHOD: {
      Response response = MakeMessage(405, Message::kMethod);
      response.Add("Allow", kMethods);
      return response;
    }
    default:
      return MakeMissing();
  }
}

}  // namespace

Response Handler::Answer(const Variables& request, const ReadBody& read_body) const {
  UseLanguage(ChooseLanguage(request.Get("HTTP_ACCEPT_LANGUAGE"), settings_.language));
  const std::string& target = request.Get("REQUEST_URI");
  if (target.size() > kLargestTarget) return MakeMessage(414, Message::kTooLong);
  if (request.size() > kLargestVariables) return MakeMessage(431, Message::kTooLong);
  const std::optional<LinkAddress> address = ParseTarget(target, site_);
  if (!address || request.repeats()) return MakeMessage(400, Message::kBadRequest);
  if (address->hash.empty()) return MakeMissing();

  Parameters form;
  const bool sends = SendsFiles(request);
  if (request.Get("REQUEST_METHOD") == "POST" && !sends) {
    std::optional<Response> failure = ReadForm(request, read_body, &form);
    if (failure) return std::move(*failure);
  }
  VisitRequest visit = MakeVisitRequest(request, *address, form, site_);
  if (sends) visit.action = kSend;
  if (visit.method == "POST" && !sends && visit.action != "logout") {
    // A login must use nothing of a link that is not usable.
    VisitRequest look = visit;
    look.method = "GET";
    SharedByLink shared;
    std::optional<Response> unusable = FindShared(VEXO::sharing::Visit(look), &shared);
    if (unusable) return std::move(*unusable);
  }
  const VisitAnswer answer = VEXO::sharing::Visit(visit);
  Response response = MakeAnswer(request, *address, site_, visit, answer, settings_);
  CompleteRecord(request, *address, answer, settings_.address_in_log, &response.record);
  if (!answer.set_cookie.empty()) response.Add("Set-Cookie", answer.set_cookie);
  return response;
}

bool Handler::CanLookUp() {
  const VEXO::sharing::db::EntryDB links(VEXO::sharing::db::SharingDB::Instance());
  links.GetCondition().Where("hash", "");
  int count = 0;
  return links.Count(count);
}

}  // namespace web
