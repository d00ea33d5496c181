#include "admin/link_settings.h"

#include <gmock/gmock.h>

#include <functional>
#include <limits>
#include <utility>

#include "admin_test.h"

namespace admin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Names = std::vector<std::string>;

class LinkSettingsTest : public AdminTest {
 protected:
  LinkSettingsTest() {
    password_.Generate();
    named_.set_protect_type(Entry::PROTECT_USER);
    named_.set_protect_users({"alice", "zoe"});
    named_.set_protect_groups({"staff", "ghosts"});
    locked_.set_protect_type(Entry::PROTECT_PASSWORD);
    locked_.set_protect_password("old", true, Entry::ENCRYPT_ALGO_DEFAULT);
  }

  /// Applies the settings, which must be right.
  void Apply(Entry& link) {
    const Error error = ApplySettings(settings_, link);
    EXPECT_FALSE(error) << error.message;
  }
  /// Applies the settings, which must be wrong, to a copy; the code of the error.
  std::string Code(Entry link) const { return ApplySettings(settings_, link).code; }

  LinkSettings settings_;
  Secret password_;
  Entry plain_ = Link("plain");
  Entry named_ = Link("named");
  Entry locked_ = Link("locked");
};

TEST_F(LinkSettingsTest, NothingSet_ChangesNothing) {
  EXPECT_TRUE(settings_.empty());
  for (Entry* const link : {&plain_, &named_, &locked_}) {
    const auto before = link->GetFieldMap();
    Apply(*link);
    EXPECT_EQ(link->GetFieldMap(), before);
  }
}

TEST_F(LinkSettingsTest, AnySetting_IsNotEmpty) {
  const std::function<void(LinkSettings&)> changes[] = {
      [](LinkSettings& s) { s.project = ""; },
      [](LinkSettings& s) { s.owner = ""; },
      [](LinkSettings& s) { s.app = Json::Value(); },
      [](LinkSettings& s) { s.private_data = Json::Value(); },
      [](LinkSettings& s) { s.start_at = 0; },
      [](LinkSettings& s) { s.expire_at = 0; },
      [](LinkSettings& s) { s.expire_times = 0; },
      [](LinkSettings& s) { s.enabled = false; },
      [](LinkSettings& s) { s.auto_gc = false; },
      [](LinkSettings& s) { s.match_ip = false; },
      [](LinkSettings& s) { s.title = ""; },
      [](LinkSettings& s) { s.redirect_type = Entry::REDIRECT_NONE; },
      [](LinkSettings& s) { s.redirect_uri = ""; },
      [](LinkSettings& s) { s.protect_type = Entry::PROTECT_NONE; },
      [](LinkSettings& s) { s.users = Names(); },
      [](LinkSettings& s) { s.groups = Names(); },
      [this](LinkSettings& s) { s.password = &password_; },
      [](LinkSettings& s) { s.remove_protection = true; }};
  for (const auto& change : changes) {
    LinkSettings settings;
    change(settings);
    EXPECT_FALSE(settings.empty());
  }
}

TEST_F(LinkSettingsTest, EveryValue_IsWritten) {
  settings_.project = "videos";
  settings_.owner = "bob";
  settings_.app = Json::Value(Json::objectValue);
  (*settings_.app)["a"] = 1;
  settings_.private_data = Json::Value(Json::objectValue);
  (*settings_.private_data)["b"] = 2;
  settings_.start_at = 100;
  settings_.expire_at = 200;
  settings_.expire_times = 3;
  settings_.enabled = false;
  settings_.auto_gc = false;
  settings_.match_ip = false;
  settings_.title = "title";
  settings_.redirect_type = Entry::REDIRECT_ALWAYS;
  settings_.redirect_uri = "/x";

  Apply(plain_);

  EXPECT_EQ(plain_.get_project_name(), "videos");
  EXPECT_EQ(plain_.get_owner_uid(), kBob);
  EXPECT_EQ(plain_.get_app()["a"], 1);
  EXPECT_EQ(plain_.get_private_data()["b"], 2);
  EXPECT_EQ(plain_.get_start_at(), 100);
  EXPECT_EQ(plain_.get_expire_at(), 200);
  EXPECT_EQ(plain_.get_expire_times(), 3);
  EXPECT_FALSE(plain_.get_enabled());
  EXPECT_FALSE(plain_.get_auto_gc());
  EXPECT_FALSE(plain_.get_enable_match_ip());
  EXPECT_EQ(plain_.get_protect_title(), "title");
  EXPECT_EQ(plain_.get_redirect_type(), Entry::REDIRECT_ALWAYS);
  EXPECT_EQ(plain_.get_redirect_uri(), "/x");
}

TEST_F(LinkSettingsTest, EmptyProject_IsRejected) {
  settings_.project = "";
  EXPECT_EQ(Code(plain_), kBadParameter);
}

TEST_F(LinkSettingsTest, Owner_IsANameOrTheNumberOfAnAccount) {
  platform_.users["5002"] = {5003, {}, ""};
  const std::pair<const char*, unsigned int> owners[] = {
      {"bob", kBob}, {"5001", kAlice}, {"5002", 5003}};
  for (const auto& [text, uid] : owners) {
    settings_.owner = text;
    Apply(plain_);
    EXPECT_EQ(plain_.get_owner_uid(), uid) << text;
  }
  for (const char* const text :
       {"", "nobody", "5999", "-1", "4294967295", "4294967296", "5001 ", "0x1389"}) {
    settings_.owner = text;
    EXPECT_EQ(Code(plain_), kUnknownUser) << text;
  }
}

TEST_F(LinkSettingsTest, DeletedOwner_IsFoundByNumberWhereAccepted) {
  std::optional<unsigned int> uid;
  EXPECT_FALSE(FindOwner(std::to_string(kDeleted), false, uid));
  EXPECT_EQ(uid, kDeleted);
  EXPECT_FALSE(FindOwner("bob", false, uid));
  EXPECT_EQ(uid, kBob);

  uid.reset();
  EXPECT_TRUE(FindOwner(std::to_string(kDeleted), true, uid));
  EXPECT_EQ(FindOwner("nobody", false, uid).Text(),
            "user not found: nobody; name a deleted user by number");
  EXPECT_FALSE(uid);
}

TEST_F(LinkSettingsTest, Times_AreBetween1970And9999) {
  for (auto LinkSettings::*time : {&LinkSettings::start_at, &LinkSettings::expire_at}) {
    for (const long wrong : {-1L, kLatestTime + 1, std::numeric_limits<long>::max()}) {
      LinkSettings settings;
      settings.*time = wrong;
      EXPECT_EQ(ApplySettings(settings, plain_).code, kBadParameter);
    }
    for (const long right : {1L, kLatestTime, 0L}) {
      LinkSettings settings;
      settings.*time = right;
      EXPECT_FALSE(ApplySettings(settings, plain_));
    }
  }
}

TEST_F(LinkSettingsTest, ExpiryBeforeStart_IsRejected) {
  settings_.start_at = 200;
  settings_.expire_at = 199;
  EXPECT_EQ(Code(plain_), kBadParameter);
  settings_.expire_at = 200;
  EXPECT_EQ(Code(plain_), "");
  settings_.expire_at = 0;  // never
  EXPECT_EQ(Code(plain_), "");

  plain_.set_expire_at(100);
  settings_.expire_at.reset();
  EXPECT_EQ(Code(plain_), kBadParameter);
}

TEST_F(LinkSettingsTest, StoredExpiryBeforeStart_StaysUntilOneIsChanged) {
  plain_.set_start_at(200);
  plain_.set_expire_at(100);

  settings_.title = "new";
  EXPECT_EQ(Code(plain_), "");
  settings_.expire_at = 150;
  EXPECT_EQ(Code(plain_), kBadParameter);
  settings_.expire_at = 250;
  EXPECT_EQ(Code(plain_), "");
}

TEST_F(LinkSettingsTest, NewPassword_RemovesUsersAndGroups) {
  settings_.password = &password_;

  Apply(named_);

  EXPECT_EQ(named_.get_protect_type(), Entry::PROTECT_PASSWORD);
  EXPECT_TRUE(named_.IsPasswordValid(password_.text()));
  EXPECT_THAT(named_.get_protect_users(), IsEmpty());
  EXPECT_THAT(named_.get_protect_groups(), IsEmpty());
}

TEST_F(LinkSettingsTest, NewPassword_ReplacesTheOldOne) {
  settings_.password = &password_;

  Apply(locked_);

  EXPECT_TRUE(locked_.IsPasswordValid(password_.text()));
  EXPECT_FALSE(locked_.IsPasswordValid("old"));
}

TEST_F(LinkSettingsTest, NamedUsersOrGroups_RemoveThePassword) {
  for (auto LinkSettings::*names : {&LinkSettings::users, &LinkSettings::groups}) {
    LinkSettings settings;
    settings.*names = Names{"alice"};
    Entry link = locked_;
    EXPECT_FALSE(ApplySettings(settings, link));
    EXPECT_EQ(link.get_protect_type(), Entry::PROTECT_USER);
    EXPECT_EQ(link.get_protect_password(), "");
  }
}

TEST_F(LinkSettingsTest, NamedUsers_ReplaceUsersAndKeepGroups) {
  settings_.users = Names{"bob"};

  Apply(named_);

  EXPECT_THAT(named_.get_protect_users(), ElementsAre("bob"));
  EXPECT_THAT(named_.get_protect_groups(), ElementsAre("staff", "ghosts"));
}

TEST_F(LinkSettingsTest, RepeatedAndEmptyNames_AreLeftOut) {
  settings_.users = Names{"zoe", "", "yan", "zoe", "yan"};

  Apply(plain_);

  EXPECT_THAT(plain_.get_protect_users(), ElementsAre("zoe", "yan"));
}

TEST_F(LinkSettingsTest, EmptyList_RemovesOneSideOnly) {
  settings_.users = Names();
  Apply(named_);
  EXPECT_THAT(named_.get_protect_users(), IsEmpty());
  EXPECT_THAT(named_.get_protect_groups(), ElementsAre("staff", "ghosts"));

  settings_.groups = Names{""};
  EXPECT_EQ(Code(named_), kMissingParameter);
  EXPECT_EQ(Code(plain_), kMissingParameter);
  Apply(locked_);
  EXPECT_TRUE(locked_.IsPasswordValid("old"));
}

TEST_F(LinkSettingsTest, ProtectTypeAlone_KeepsWhatIsStored) {
  for (Entry* const link : {&named_, &locked_}) {
    const auto before = link->GetFieldMap();
    const Entry::ProtectType type = link->get_protect_type();
    settings_.protect_type = Entry::PROTECT_NONE;
    Apply(*link);
    EXPECT_EQ(link->get_protect_type(), Entry::PROTECT_NONE);
    settings_.protect_type = type;
    Apply(*link);
    EXPECT_EQ(link->GetFieldMap(), before);
  }
}

TEST_F(LinkSettingsTest, ProtectTypeWithoutItsMeans_IsRejected) {
  settings_.protect_type = Entry::PROTECT_PASSWORD;
  EXPECT_EQ(Code(plain_), kMissingParameter);
  EXPECT_EQ(Code(named_), kMissingParameter);
  settings_.protect_type = Entry::PROTECT_USER;
  EXPECT_EQ(Code(plain_), kMissingParameter);
  EXPECT_EQ(Code(locked_), kMissingParameter);
}

TEST_F(LinkSettingsTest, PasswordTogetherWithNames_IsRejected) {
  settings_.password = &password_;
  settings_.users = Names{"alice"};
  EXPECT_EQ(Code(plain_), kBadParameter);
  settings_.users.reset();
  settings_.groups = Names{"staff"};
  EXPECT_EQ(Code(plain_), kBadParameter);
  settings_.groups = Names();
  EXPECT_EQ(Code(plain_), "");
}

TEST_F(LinkSettingsTest, ProtectTypeThatContradicts_IsRejected) {
  for (const auto type : {Entry::PROTECT_NONE, Entry::PROTECT_USER}) {
    LinkSettings settings;
    settings.password = &password_;
    settings.protect_type = type;
    EXPECT_EQ(ApplySettings(settings, plain_).code, kBadParameter);
  }
  for (const auto type : {Entry::PROTECT_NONE, Entry::PROTECT_PASSWORD}) {
    LinkSettings settings;
    settings.users = Names{"alice"};
    settings.protect_type = type;
    EXPECT_EQ(ApplySettings(settings, plain_).code, kBadParameter);
  }
}

TEST_F(LinkSettingsTest, RemovedProtection_RemovesEverything) {
  settings_.remove_protection = true;
  for (Entry* const link : {&plain_, &named_, &locked_}) {
    Apply(*link);
    EXPECT_EQ(link->get_protect_type(), Entry::PROTECT_NONE);
    EXPECT_EQ(link->get_protect_password(), "");
    EXPECT_THAT(link->get_protect_users(), IsEmpty());
    EXPECT_THAT(link->get_protect_groups(), IsEmpty());
  }
}

TEST_F(LinkSettingsTest, PasswordThatCannotBeStored_IsAnError) {
  platform_.Fail("getString");  // no salt
  settings_.password = &password_;
  const Error error = ApplySettings(settings_, plain_);
  EXPECT_EQ(error.code, kFailed);
  EXPECT_EQ(error.Text().find(password_.text()), std::string::npos);
}

TEST_F(LinkSettingsTest, UsersOfDeletedAccounts_CountAsUsers) {
  named_.set_protect_uids({kDeleted});
  named_.set_protect_gids({});
  settings_.title = "new";
  EXPECT_EQ(Code(named_), "");
}

TEST_F(LinkSettingsTest, NewLink_RequiresProjectAndOwner) {
  Entry link;
  EXPECT_EQ(NewLink(settings_, link).code, kMissingParameter);
  settings_.project = "p";
  EXPECT_EQ(NewLink(settings_, link).code, kMissingParameter);
  settings_.owner = "alice";
  EXPECT_FALSE(NewLink(settings_, link));
  EXPECT_EQ(link.get_project_name(), "p");
  EXPECT_EQ(link.get_owner_uid(), kAlice);
  EXPECT_TRUE(link.get_app().isObject());
}

TEST_F(LinkSettingsTest, NewLinkWithEmptyLists_IsRejectedUnlessItIsOpenByType) {
  settings_.project = "p";
  settings_.owner = "alice";
  for (auto LinkSettings::*names : {&LinkSettings::users, &LinkSettings::groups}) {
    LinkSettings settings = settings_;
    settings.*names = Names{""};
    Entry link;
    EXPECT_EQ(NewLink(settings, link).code, kMissingParameter);
    settings.protect_type = Entry::PROTECT_NONE;
    EXPECT_EQ(NewLink(settings, link).code, "");
  }
}

TEST(LinkSettings, Words_AreThoseOfTheDatabase) {
  Entry::ProtectType type = Entry::PROTECT_NONE;
  EXPECT_TRUE(ParseProtectType("user", type));
  EXPECT_EQ(type, Entry::PROTECT_USER);
  EXPECT_TRUE(ParseProtectType("password", type));
  EXPECT_EQ(type, Entry::PROTECT_PASSWORD);
  for (const char* const word : {"", "User", "nothing", "user "}) {
    EXPECT_FALSE(ParseProtectType(word, type));
    EXPECT_EQ(type, Entry::PROTECT_PASSWORD);
  }
  EXPECT_TRUE(ParseProtectType("none", type));
  EXPECT_EQ(type, Entry::PROTECT_NONE);

  Entry::RedirectType redirect = Entry::REDIRECT_NONE;
  EXPECT_TRUE(ParseRedirectType("always", redirect));
  EXPECT_EQ(redirect, Entry::REDIRECT_ALWAYS);
  EXPECT_TRUE(ParseRedirectType("url_param", redirect));
  EXPECT_EQ(redirect, Entry::REDIRECT_URLPARAM);
  EXPECT_FALSE(ParseRedirectType("urlparam", redirect));
  EXPECT_EQ(redirect, Entry::REDIRECT_URLPARAM);
  EXPECT_TRUE(ParseRedirectType("none", redirect));
  EXPECT_EQ(redirect, Entry::REDIRECT_NONE);
}

}  // namespace
}  // namespace admin
