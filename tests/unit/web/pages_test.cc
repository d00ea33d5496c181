#include "web/pages/pages.h"

#include <gmock/gmock.h>

#include "web/language.h"
#include "web/pages/listing_href.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using web::EntryHref;
using web::FilePage;
using web::FolderPage;
using web::LoginPage;
using web::Message;

class Pages : public testing::Test {
 protected:
  void SetUp() override { web::UseLanguage("en"); }
};

TEST_F(Pages, EntryHref_IsNeverTakenForAUrl) {
  EXPECT_EQ(EntryHref("javascript:x"), "./javascript%3Ax");
  EXPECT_EQ(EntryHref("a/b?c#d%"), "./a/b%3Fc%23d%25");
  EXPECT_EQ(EntryHref("\xff\n"), "./%FF%0A");
}

TEST_F(Pages, LoginForStrangers_HasAHeadingWithoutTheTitle) {
  EXPECT_THAT(web::RenderLogin({}), HasSubstr("<h1><bdi>Shared files</bdi></h1>"));
}

TEST_F(Pages, TextsOfOthers_AreEscaped) {
  LoginPage page;
  page.title = "<script>\"&'";
  page.users = true;
  page.username = "\"><script>";
  const std::string html = web::RenderLogin(page);

  EXPECT_THAT(html, Not(HasSubstr("<script>")));
  EXPECT_THAT(html, HasSubstr("&lt;script&gt;&quot;&amp;&apos;"));
}

TEST_F(Pages, TextsWithTemplateTags_AreNotRendered) {
  LoginPage page;
  page.title = "{{{style}}} {{>content}}";
  EXPECT_THAT(web::RenderLogin(page),
              HasSubstr("<bdi>{{{style}}} {{&gt;content}}</bdi>"));
}

TEST_F(Pages, OwnerWithTemplateTags_IsNotRendered) {
  FolderPage page;
  page.facts.owner = "{{{style}}}<b>";
  EXPECT_THAT(web::RenderFolder(page),
              HasSubstr("Shared by <bdi>{{{style}}}&lt;b&gt;</bdi>"));
}

TEST_F(Pages, TextPreview_IsEscapedAndInItsPlace) {
  FilePage page;
  page.name = "a.txt";
  page.preview = web::Preview::kText;
  page.text = "<b>{{title}}&";
  EXPECT_THAT(web::RenderFile(page), HasSubstr(">\n&lt;b&gt;{{title}}&amp;</pre>"));
}

TEST_F(Pages, OtherFiles_HaveNoPlaceForAText) {
  FilePage page;
  page.name = "a.bin";
  page.text = "unused";
  const std::string html = web::RenderFile(page);
  EXPECT_THAT(html, Not(HasSubstr("unused")));
  EXPECT_THAT(html, Not(HasSubstr("\x01")));
}

TEST_F(Pages, FolderWithoutEntries_SaysSo) {
  FolderPage page;
  EXPECT_THAT(web::RenderFolder(page), HasSubstr("This folder is empty."));
  page.query.search = "x";
  EXPECT_THAT(web::RenderFolder(page), HasSubstr("No names contain this text."));
}

TEST_F(Pages, ListingHref_HasOnlyWhatIsNotUsual) {
  web::ListingQuery query;
  EXPECT_EQ(web::ListingHref(query), "./");
  EXPECT_EQ(web::FolderHref(query), "./");
  EXPECT_EQ(web::FileViewHref("a b", query), "./a%20b?view");
  query.grid = true;
  query.sort = web::SortKey::kTime;
  query.search = "a&b";
  query.page = 2;
  EXPECT_EQ(web::ListingHref(query), "?view=grid&sort=time&order=asc&q=a%26b&page=2");
  EXPECT_EQ(web::FolderHref(query), "./" + web::ListingHref(query));
  EXPECT_EQ(web::FileViewHref("a", query), "./a?view=grid&sort=time&order=asc");
}

TEST_F(Pages, NamesInAGrid_AreEscaped) {
  FolderPage page;
  page.query.grid = true;
  page.listing.entries = {{"<b>\"&'\n.jpg", web::NodeKind::kFile, 1, 2}};
  const std::string html = web::RenderFolder(page);

  EXPECT_THAT(html, HasSubstr("<bdi>&lt;b&gt;&quot;&amp;&apos;[U+000A].jpg</bdi>"));
  EXPECT_THAT(html, HasSubstr("src=\"./%3Cb%3E%22%26%27%0A.jpg?thumb\""));
  EXPECT_THAT(html, Not(HasSubstr("<b>")));
}

TEST_F(Pages, PicturesAround_AreLinks) {
  FilePage page;
  page.name = "a.jpg";
  page.preview = web::Preview::kPicture;
  EXPECT_THAT(web::RenderFile(page), Not(HasSubstr("rel=\"next\"")));
  page.next = "<b>.jpg";
  const std::string html = web::RenderFile(page);
  EXPECT_THAT(html, HasSubstr("href=\"./%3Cb%3E.jpg?view\" rel=\"next\""));
  EXPECT_THAT(html, Not(HasSubstr("rel=\"prev\"")));
}

TEST_F(Pages, IncompleteFolder_SaysSo) {
  FolderPage page;
  page.listing.complete = false;
  EXPECT_THAT(web::RenderFolder(page), HasSubstr("too many entries"));
}

TEST_F(Pages, Message_HasItsKind) {
  const std::pair<Message, const char*> cases[] = {
      {Message::kMissing, "missing"},     {Message::kGone, "missing"},
      {Message::kUsedUp, "used-up"},      {Message::kBlocked, "blocked"},
      {Message::kNotAdmitted, "refused"}, {Message::kCrossSite, "refused"},
      {Message::kBadRequest, "error"},    {Message::kMethod, "error"},
      {Message::kTooLong, "error"},       {Message::kFormTooLarge, "error"},
      {Message::kFormType, "error"},      {Message::kNoLength, "error"},
      {Message::kTryLater, "error"},      {Message::kFailed, "error"}};
  for (const auto& [message, page] : cases) {
    EXPECT_THAT(web::RenderMessage(message),
                HasSubstr(std::string("<body data-page=\"") + page + "\">"));
  }
}

}  // namespace
