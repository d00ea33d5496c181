#include "web/pages/pages.h"

#include <gmock/gmock.h>

#include "web/language.h"

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
      {Message::kFormType, "error"},      {Message::kTryLater, "error"},
      {Message::kFailed, "error"}};
  for (const auto& [message, page] : cases) {
    EXPECT_THAT(web::RenderMessage(message),
                HasSubstr(std::string("<body data-page=\"") + page + "\">"));
  }
}

}  // namespace
