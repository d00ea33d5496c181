#include "pages.h"

#include <kainjow/mustache.hpp>
#include <utility>

#include "base/percent.h"
#include "templates.h"
#include "web/files/display_name.h"
#include "web/language.h"
#include "web/pages/format.h"
#include "web/pages/listing_href.h"
#include "web/pages/markdown.h"
#include "web/pages/markup.h"
#include "web/pages/qr_code.h"
#include "web/thumbnails/thumbnails.h"

namespace web {
namespace {

using kainjow::mustache::data;
using kainjow::mustache::lambda;
using kainjow::mustache::mustache;
using kainjow::mustache::partial;

/// The text with `value` in place of "{name}".
std::string Fill(std::string text, const std::string& name, const std::string& value) {
  const std::string place = "{" + name + "}";
  const size_t found = text.find(place);
  if (found != std::string::npos) text.replace(found, place.size(), value);
  return text;
}

std::string Count(const char* one, const char* many, unsigned long number) {
  return Fill(TranslateCount(one, many, number), "count", std::to_string(number));
}

/// The text where it is not empty: a template takes any text for true.
void SetUnlessEmpty(data* values, const std::string& name, const std::string& text) {
  if (!text.empty()) values->set(name, text);
}

// Stands in a rendered page for the text of a file.  Texts for people have no control
// characters.
constexpr char kPlaceOfText = '\x01';

/// The page with what `append` adds in the place of the text.  The text may be long: it
/// is added here, not in the templates, which would make several copies.
template <class Append>
std::string FillPlace(const std::string& html, size_t text_size, Append append) {
  const size_t place = html.find(kPlaceOfText);
  if (place == std::string::npos) return html;
  std::string page;
  page.reserve(html.size() + text_size);
  page.append(html, 0, place);
  append(&page);
  return page.append(html, place + 1);
}

/// Renders a page around `content`, which is the template of its body.
std::string Render(const std::string& kind, const std::string& title, const char* content,
                   data values) {
  values.set("language", CurrentLanguage());
  values.set("title", title);
  values.set("page", kind);
  values.set("style", kStyle);
  values.set(
      "t", data(lambda([](const std::string& text) { return Translate(text.c_str()); })));
  values.set("content", data(partial([content] { return std::string(content); })));
  values.set("grid_of_tiles", data(partial([] { return std::string(kGridTemplate); })));
  values.set("header", data(partial([] { return std::string(kHeaderTemplate); })));
  return mustache(kPageTemplate).render(values);
}

/// The heading for those who are not admitted.
std::string LoginHeading(const std::string& title) {
  return title.empty() ? Translate("Shared files") : DisplayName(title);
}

std::string ProblemText(VexoSharingVisitProblem problem) {
  switch (problem) {
    case SHARING_VISIT_PASSWORD_EMPTY:
      return Translate("Enter the password.");
    case SHARING_VISIT_USERNAME_EMPTY:
      return Translate("Enter the user name.");
    case SHARING_VISIT_PASSWORD_WRONG:
      return Translate("The password is wrong.");
    case SHARING_VISIT_CREDENTIALS_WRONG:
      return Translate("The user name or password is wrong.");
    default:
      return "";
  }
}

/// What header.mustache shows.
data HeaderValues(const std::string& heading, const std::vector<Crumb>& crumbs,
                  const LinkFacts& facts) {
  data values;
  values.set("heading", DisplayName(heading));
  values.set("has_crumbs", !crumbs.empty());
  data list(data::type::list);
  for (const Crumb& crumb : crumbs) {
    data item;
    item.set("name", DisplayName(crumb.name));
    item.set("href", crumb.href);
    list.push_back(item);
  }
  values.set("crumbs", list);
  SetUnlessEmpty(&values, "owner", DisplayName(facts.owner));
  if (facts.expires != 0) {
    const std::string time = FormatTimeAndZone(facts.expires);
    values.set("expires", time);
  }
  if (facts.uses) {
    values.set("uses", Count("{count} use left", "{count} uses left", *facts.uses));
  }
  values.set("has_session", facts.has_session);
  SetUnlessEmpty(&values, "address", facts.address);
  const QrCode code = DrawQrCode(facts.address);
  values.set("qr", code.width != 0);
  values.set("qr_width", std::to_string(code.width));
  values.set("qr_path", code.path);
  values.set("script", kCopy);
  return values;
}

data ColumnValues(const FolderPage& page) {
  const std::pair<SortKey, std::string> columns[] = {
      {SortKey::kName, Translate("Name")},
      {SortKey::kSize, Translate("Size")},
      {SortKey::kTime, Translate("Modified")}};
  data list(data::type::list);
  for (const auto& [key, label] : columns) {
    const bool current = page.query.sort == key;
    const bool ascending = current && !page.query.descending;
    data item;
    item.set("label", label);
    item.set("current", current);
    item.set("direction", ascending ? "ascending" : "descending");
    ListingQuery sorted = page.query;
    sorted.sort = key;
    sorted.descending = ascending;
    sorted.page = 1;
    item.set("href", ListingHref(sorted));
    list.push_back(item);
  }
  return list;
}

data RowValues(const ListingEntry& entry, const ListingQuery& query) {
  const bool folder = entry.kind == NodeKind::kFolder;
  const std::string name = DisplayName(entry.name);
  data row;
  row.set("kind", folder ? "folder" : "file");
  row.set("bytes", std::to_string(entry.size));
  row.set("epoch", std::to_string(entry.modified));
  row.set("href", EntryHref(entry.name) + (folder ? "/" : ""));
  row.set("name", name);
  // A form sends other names in another way than they are written.
  if (!query.below && name == entry.name) {
    row.set("select", name);
    row.set("select_label", Fill(Translate("Select {name}"), "name", name));
  }
  row.set("size", folder ? "" : FormatSize(entry.size));
  row.set("time", FormatTime(entry.modified));
  const bool shown = !folder && ContentTypeOf(entry.name).Inline();
  row.set("preview", shown);
  if (shown) {
    row.set("view", FileViewHref(entry.name, query));
    row.set("preview_label", Fill(Translate("Preview of {name}"), "name", name));
  }
  return row;
}

data TileValues(const ListingEntry& entry, const ListingQuery& query) {
  data tile = RowValues(entry, query);
  const std::string href = EntryHref(entry.name);
  if (entry.kind == NodeKind::kFolder) {
    tile.set("href", href + "/?view=grid");
  } else if (ContentTypeOf(entry.name).Inline()) {
    tile.set("href", FileViewHref(entry.name, query));
  }
  if (entry.kind == NodeKind::kFile && MayHaveThumbnail(entry.name)) {
    tile.set("thumbnail", href + "?thumb");
  }
  return tile;
}

std::string TotalText(const FolderPage& page) {
  const Listing& listing = page.listing;
  if (listing.folders + listing.files == 0) {
    return page.query.search.empty() ? Translate("This folder is empty.")
                                     : Translate("No names contain this text.");
  }
  std::string folders = Count("{count} folder", "{count} folders", listing.folders);
  if (listing.files == 0) return folders;
  std::string text = listing.folders == 0 ? Translate("{files}, {size}")
                                          : Translate("{folders}, {files}, {size}");
  text = Fill(text, "folders", folders);
  text = Fill(text, "files", Count("{count} file", "{count} files", listing.files));
  return Fill(text, "size", FormatSize(listing.bytes));
}

void AddPages(const FolderPage& page, data* values) {
  const Listing& listing = page.listing;
  const auto href = [&page](size_t number) {
    ListingQuery other = page.query;
    other.page = number;
    return ListingHref(other);
  };
  std::string position = Translate("Page {page} of {count}");
  position = Fill(position, "page", std::to_string(listing.page));
  position = Fill(position, "count", std::to_string(listing.page_count));
  values->set("has_pages", listing.page_count > 1);
  values->set("position", position);
  if (listing.page > 1) values->set("previous", href(listing.page - 1));
  if (listing.page < listing.page_count) values->set("next", href(listing.page + 1));
}

std::string ProblemText(DropPage::Problem problem) {
  switch (problem) {
    case DropPage::Problem::kNoFile:
      return Translate("Choose at least one file.");
    case DropPage::Problem::kTooLarge:
      return Translate("These files exceed the size limit of this link.");
    case DropPage::Problem::kTooMany:
      return Translate("These files exceed the file limit of this link.");
    case DropPage::Problem::kTextTooLong:
      return Translate("The name or the note is too long.");
    case DropPage::Problem::kIncomplete:
      return Translate("The transfer was incomplete. Send the files again.");
    case DropPage::Problem::kNoSpace:
      return Translate("There is not enough space for these files.");
    default:
      return "";
  }
}

/// What a drop box accepts; empty without limits.
std::string LimitsText(const DropLimits& limits) {
  const DropLimits none;
  std::string text;
  if (limits.files != none.files) {
    text = Count("{count} file", "{count} files", limits.files);
  }
  if (limits.bytes != none.bytes) {
    const std::string size = FormatSize(limits.bytes);
    text = text.empty()
               ? size
               : Fill(Fill(Translate("{files}, {size}"), "files", text), "size", size);
  }
  return text.empty() ? ""
                      : Fill(Translate("At most {limits} in total."), "limits", text);
}

struct MessageTexts {
  const char* page;  ///< the value of data-page
  std::string heading;
  std::string text;
  bool retry = false;
};

MessageTexts TextsOf(Message message) {
  switch (message) {
    case Message::kMissing:
      return {"missing", Translate("Not found"),
              Translate("This link does not exist or is not available.")};
    case Message::kGone:
      return {"missing", Translate("Not found"),
              Translate("There is nothing at this address any more.")};
    case Message::kUsedUp:
      return {"used-up", Translate("Use limit reached"),
              Translate("This link cannot be used any more.")};
    case Message::kBlocked:
      return {"blocked", Translate("Too many attempts"), Translate("Try again later.")};
    case Message::kNotAdmitted:
      return {"refused", Translate("No access"),
              Translate("You have no access to this link."), true};
    case Message::kCrossSite:
      return {"refused", Translate("Not accepted"),
              Translate("The form was sent by another website.")};
    case Message::kMethod:
      return {"error", Translate("Not accepted"),
              Translate("This address does not accept such a request.")};
    case Message::kTooLong:
      return {"error", Translate("Not accepted"), Translate("The request is too large.")};
    case Message::kFormTooLarge:
      return {"error", Translate("Not accepted"), Translate("The form is too large.")};
    case Message::kFormType:
      return {"error", Translate("Not accepted"),
              Translate("The form has an unknown format.")};
    case Message::kNoLength:
      return {"error", Translate("Not accepted"),
              Translate("The browser did not say how large the files are.")};
    case Message::kTryLater:
      return {"error", Translate("Not available"), Translate("Try again later."), true};
    case Message::kFailed:
      return {"error", Translate("Error"), Translate("Something went wrong."), true};
    default:
      return {"error", Translate("Not accepted"), Translate("The address is not valid.")};
  }
}

}  // namespace

std::string RenderLogin(const LoginPage& page) {
  const std::string heading = LoginHeading(page.title);
  const bool name_wrong = page.problem == SHARING_VISIT_USERNAME_EMPTY ||
                          page.problem == SHARING_VISIT_CREDENTIALS_WRONG;
  data values;
  values.set("heading", heading);
  values.set("users", page.users);
  values.set("username", ToValidUtf8(page.username));
  SetUnlessEmpty(&values, "problem", ProblemText(page.problem));
  values.set("username_wrong", name_wrong);
  values.set("password_wrong", page.problem != SHARING_VISIT_NO_PROBLEM &&
                                   page.problem != SHARING_VISIT_USERNAME_EMPTY);
  values.set("focus_username",
             page.users && (page.problem == SHARING_VISIT_NO_PROBLEM ||
                            page.problem == SHARING_VISIT_USERNAME_EMPTY));
  return Render("login", heading, kLoginTemplate, values);
}

std::string RenderOpen(const std::string& title) {
  const std::string heading = LoginHeading(title);
  data values;
  values.set("heading", heading);
  return Render("open", heading, kOpenTemplate, values);
}

std::string RenderFolder(const FolderPage& page) {
  const bool searched = !page.query.search.empty();
  ListingQuery all = page.query;
  all.page = 1;
  ListingQuery other_view = all;
  other_view.grid = !page.query.grid;
  all.search = "";
  data values = HeaderValues(page.heading, page.crumbs, page.facts);
  values.set("q", ToValidUtf8(page.query.search));
  values.set("sorted", page.query.sort != SortKey::kName || page.query.descending);
  values.set("sort", SortName(page.query.sort));
  values.set("order", OrderName(page.query.descending));
  values.set("total", TotalText(page));
  values.set("searched", searched);
  values.set("all", ListingHref(all));
  values.set("other_view", ListingHref(other_view));
  values.set("grid", page.query.grid);
  values.set("below", page.query.below);
  values.set("selectable", !page.query.below);
  values.set("selected", kSelected);
  values.set("incomplete", !page.listing.complete);
  values.set("has_rows", !page.listing.entries.empty() && !page.query.grid);
  values.set("has_tiles", !page.listing.entries.empty() && page.query.grid);
  values.set("columns", ColumnValues(page));
  values.set("preview_text", Translate("Preview"));
  AddPages(page, &values);
  data rows(data::type::list);
  for (const ListingEntry& entry : page.listing.entries) {
    rows.push_back((page.query.grid ? TileValues : RowValues)(entry, page.query));
  }
  values.set("rows", rows);
  RenderedMarkdown readme;
  if (page.readme) {
    readme = RenderMarkdown(page.readme->text, page.depth);
    values.set("readme", page.readme->name);
    values.set("readme_cut", !readme.complete);
    values.set("content_of_readme", std::string(1, kPlaceOfText));
  }
  return FillPlace(
      Render("folder", DisplayName(page.heading), kFolderTemplate, std::move(values)),
      readme.html.size(), [&readme](std::string* html) { *html += readme.html; });
}

std::string RenderFile(const FilePage& page) {
  data values = HeaderValues(page.heading, page.crumbs, page.facts);
  values.set("name", DisplayName(page.name));
  values.set("href", page.href);
  values.set("download", page.download);
  values.set("size", FormatSize(page.size));
  values.set("time", FormatTime(page.modified));
  values.set("inline", page.preview != Preview::kNone);
  values.set("picture", page.preview == Preview::kPicture);
  values.set("audio", page.preview == Preview::kAudio);
  values.set("video", page.preview == Preview::kVideo);
  values.set("pdf", page.preview == Preview::kPdf);
  values.set("text", page.preview == Preview::kText);
  values.set("cut", page.text_cut);
  values.set("has_neighbours", !page.previous.empty() || !page.next.empty());
  const auto set_neighbour = [&](const char* name, const std::string& neighbour) {
    if (!neighbour.empty()) values.set(name, FileViewHref(neighbour, page.query));
  };
  set_neighbour("previous", page.previous);
  set_neighbour("next", page.next);
  values.set("content_of_text", std::string(1, kPlaceOfText));
  return FillPlace(
      Render("file", DisplayName(page.heading), kFileTemplate, std::move(values)),
      page.text.size() + page.text.size() / 8,
      [&page](std::string* html) { AppendEscaped(page.text, html); });
}

std::string RenderDrop(const DropPage& page) {
  const std::string heading = page.title.empty() ? Translate("Send files") : page.title;
  data values = HeaderValues(heading, {}, page.facts);
  if (page.sent != 0) {
    values.set("sent", Count("{count} file was received.", "{count} files were received.",
                             page.sent));
  }
  SetUnlessEmpty(&values, "problem", ProblemText(page.problem));
  const bool files_wrong = page.problem != DropPage::Problem::kNone &&
                           page.problem != DropPage::Problem::kTextTooLong;
  values.set("files_wrong", files_wrong);
  const std::string limits = LimitsText(page.limits);
  SetUnlessEmpty(&values, "limits", limits);
  values.set("files_described", !limits.empty() || files_wrong);
  return Render("drop", DisplayName(heading), kDropTemplate, std::move(values));
}

std::string RenderMessage(Message message) {
  const MessageTexts texts = TextsOf(message);
  data values;
  values.set("heading", texts.heading);
  values.set("message", texts.text);
  values.set("retry", texts.retry);
  return Render(texts.page, texts.heading, kMessageTemplate, values);
}

std::string RenderEarly(time_t start) {
  const std::string heading = Translate("Not available yet");
  data values;
  values.set("heading", heading);
  values.set("time", "<time datetime=\"" + FormatIsoTime(start) + "\">" +
                         FormatUtcTime(start) + "</time>");
  return Render("early", heading, kEarlyTemplate, values);
}

std::string EntryHref(const std::string& path) {
  return "./" + VEXO::base::PercentEncode(path, "/");
}

const char* const kSelected = "selected";

}  // namespace web
