#include <gmock/gmock.h>

#include <string>

#include "entry.h"
#include "entry_test.h"
#include "log_matchers.h"

namespace VEXO::sharing::record {
namespace {

using fakes::Refusal;
using testing::ElementsAre;
using testing::IsEmpty;

// Passwords

TEST_F(EntryTest, SetProtectPassword_Default_IsSaltedSha1) {
  platform_.random_strings = {"xy"};
  Entry entry = LegalEntry();

  entry.set_protect_password("abc", true, Entry::ENCRYPT_ALGO_DEFAULT);
  EXPECT_EQ("xy", entry.get_protect_password_salt());
  EXPECT_EQ("e9de4ff23942188a51f3b21c25ddb2f25f10d362", entry.get_protect_password());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_DEFAULT, entry.get_protect_password_algo());
  EXPECT_EQ(Entry::PROTECT_NONE, entry.get_protect_type());
  EXPECT_THAT(platform_.calls(),
              ElementsAre("getString(ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                          "0123456789, 6)"));
}

TEST_F(EntryTest, SetProtectPassword_Default_DrawsANewSaltEachTime) {
  Entry entry;

  entry.set_protect_password("abc", true, Entry::ENCRYPT_ALGO_DEFAULT);
  const std::string salt = entry.get_protect_password_salt();
  const std::string stored = entry.get_protect_password();
  entry.set_protect_password("abc", true, Entry::ENCRYPT_ALGO_DEFAULT);
  EXPECT_EQ(6u, salt.size());
  EXPECT_NE(salt, entry.get_protect_password_salt());
  EXPECT_NE(stored, entry.get_protect_password());
}

TEST_F(EntryTest, SetProtectPassword_EmptyUnderDefault_IsLegal) {
  const Entry entry = PasswordEntry("", Entry::ENCRYPT_ALGO_DEFAULT);

  EXPECT_TRUE(entry.IsLegal());
  EXPECT_EQ(6u, entry.get_protect_password_salt().size());
  EXPECT_EQ(40u, entry.get_protect_password().size());
}

TEST_F(EntryTest, SetProtectPassword_Md5_IsPlainMd5AndLeavesTheSalt) {
  platform_.random_strings = {"salted"};
  Entry entry = PasswordEntry("before", Entry::ENCRYPT_ALGO_DEFAULT);

  entry.set_protect_password("abc", true, Entry::ENCRYPT_ALGO_MD5);
  EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", entry.get_protect_password());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_MD5, entry.get_protect_password_algo());
  EXPECT_EQ("salted", entry.get_protect_password_salt());
  EXPECT_TRUE(entry.IsLegal());
}

TEST_F(EntryTest, SetProtectPassword_EmptyUnderMd5_IsNotLegalUntilItSucceeds) {
  Entry entry = PasswordEntry("abc", Entry::ENCRYPT_ALGO_DEFAULT);

  entry.set_protect_password("", true, Entry::ENCRYPT_ALGO_MD5);
  EXPECT_EQ("", entry.get_protect_password());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_MD5, entry.get_protect_password_algo());
  EXPECT_FALSE(entry.IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 332, "!blValid_")));
  entry.set_protect_password("abc", true, Entry::ENCRYPT_ALGO_MD5);
  EXPECT_TRUE(entry.IsLegal());
}

TEST_F(EntryTest, SetProtectPassword_UnknownAlgorithm_IsNotLegalAndHoldsNoForm) {
  Entry entry = LegalEntry();

  entry.set_protect_password("abc", true, static_cast<Entry::PasswordEncryptAlgo>(2));

  EXPECT_FALSE(entry.IsLegal());
  EXPECT_EQ("", entry.get_protect_password());
  EXPECT_EQ("", entry.get_protect_password_salt());
}

TEST_F(EntryTest, SetProtectPassword_NoSalt_IsNotLegalAndClearsThePassword) {
  Entry entry = PasswordEntry("abc", Entry::ENCRYPT_ALGO_MD5);
  platform_.FailOnce("getString");

  entry.set_protect_password("abc", true, Entry::ENCRYPT_ALGO_DEFAULT);
  EXPECT_EQ("", entry.get_protect_password());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_DEFAULT, entry.get_protect_password_algo());
  EXPECT_FALSE(entry.IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 332, "!blValid_")));
}

TEST_F(EntryTest, SetProtectPassword_StoredForm_IsStoredUnchanged) {
  Entry entry;
  entry.GetObject()->blValid_ = false;

  entry.set_protect_password("any text", false, Entry::ENCRYPT_ALGO_MD5);
  EXPECT_EQ("any text", entry.get_protect_password());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_MD5, entry.get_protect_password_algo());
  EXPECT_EQ("", entry.get_protect_password_salt());
  EXPECT_TRUE(entry.GetCObject()->blValid_);
  EXPECT_THAT(platform_.calls(), IsEmpty());
}

TEST_F(EntryTest, IsPasswordValid_NotPasswordProtected_IsTrueForAnyText) {
  for (const Entry::ProtectType type : {Entry::PROTECT_NONE, Entry::PROTECT_USER}) {
    Entry entry = PasswordEntry("abc", Entry::ENCRYPT_ALGO_DEFAULT);
    entry.set_protect_type(type);

    EXPECT_TRUE(entry.IsPasswordValid("wrong"));
    EXPECT_TRUE(entry.IsPasswordValid(""));
  }
}

TEST_F(EntryTest, IsPasswordValid_ThePasswordAlone_IsRight) {
  for (const auto algo : {Entry::ENCRYPT_ALGO_DEFAULT, Entry::ENCRYPT_ALGO_MD5}) {
    const Entry entry = PasswordEntry("it's \xff secret", algo);

    EXPECT_TRUE(entry.IsPasswordValid("it's \xff secret"));
    EXPECT_FALSE(entry.IsPasswordValid("it's \xff Secret"));
    EXPECT_FALSE(entry.IsPasswordValid("it's \xff secret "));
    EXPECT_FALSE(entry.IsPasswordValid(""));
    EXPECT_FALSE(entry.IsPasswordValid(entry.get_protect_password()));
    EXPECT_FALSE(entry.IsPasswordValid(std::string(1 << 20, 'x')));
  }
}

TEST_F(EntryTest, IsPasswordValid_Nul_IsPartOfThePassword) {
  const Entry entry = PasswordEntry(std::string("a\0b", 3), Entry::ENCRYPT_ALGO_DEFAULT);

  EXPECT_TRUE(entry.IsPasswordValid(std::string("a\0b", 3)));
  EXPECT_FALSE(entry.IsPasswordValid("a"));
}

TEST_F(EntryTest, IsPasswordValid_StoredFormInOtherCase_IsWrong) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_PASSWORD);
  entry.set_protect_password("900150983CD24FB0D6963F7D28E17F72", false,
                             Entry::ENCRYPT_ALGO_MD5);

  EXPECT_FALSE(entry.IsPasswordValid("abc"));
}

TEST_F(EntryTest, IsPasswordValid_StoredFormIsPrefixOrLonger_IsWrong) {
  for (const char* const stored :
       {"", "900150983cd24fb0d6963f7d28e17f7", "900150983cd24fb0d6963f7d28e17f720"}) {
    Entry entry = LegalEntry();
    entry.set_protect_type(Entry::PROTECT_PASSWORD);
    entry.set_protect_password(stored, false, Entry::ENCRYPT_ALGO_MD5);

    EXPECT_FALSE(entry.IsPasswordValid("abc")) << stored;
  }
}

TEST_F(EntryTest, IsPasswordValid_EmptyPasswordAndEmptyMd5Form_IsWrong) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_PASSWORD);
  entry.set_protect_password("", false, Entry::ENCRYPT_ALGO_MD5);

  EXPECT_FALSE(entry.IsPasswordValid(""));
}

TEST_F(EntryTest, IsPasswordValid_OtherAlgorithmNumber_IsMd5) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_PASSWORD);
  entry.set_protect_password("900150983cd24fb0d6963f7d28e17f72", false,
                             static_cast<Entry::PasswordEncryptAlgo>(7));

  EXPECT_TRUE(entry.IsPasswordValid("abc"));
}

// Users and groups

TEST_F(EntryTest, SetProtectUsers_KeepsNamesThatAreNotFound) {
  Entry entry;

  entry.set_protect_users({"bob", "ghost", "alice", "bob", "ghost"});
  EXPECT_THAT(entry.get_protect_uids(), ElementsAre(5002, 5001, 5002));
  EXPECT_THAT(entry.get_protect_users(),
              ElementsAre("bob", "alice", "bob", "ghost", "ghost"));
}

TEST_F(EntryTest, SetProtectUsers_ReplacesIdsAndNames) {
  Entry entry;
  entry.set_protect_users({"bob", "ghost"});

  entry.set_protect_users({"alice"});
  EXPECT_THAT(entry.get_protect_users(), ElementsAre("alice"));
  entry.set_protect_users({});
  EXPECT_THAT(entry.get_protect_users(), IsEmpty());
}

TEST_F(EntryTest, SetProtectUsers_LookupFails_KeepsTheName) {
  Entry entry;
  platform_.FailOnce("VEXOUserGet");

  entry.set_protect_users({"alice", "bob"});
  EXPECT_THAT(entry.get_protect_users(), ElementsAre("bob", "alice"));
  EXPECT_THAT(entry.get_protect_uids(), ElementsAre(5002, 5001));
}

TEST_F(EntryTest, UserNotFound_IsAdmittedOnceTheAccountExists) {
  Entry entry;
  entry.set_protect_users({"ghost"});

  EXPECT_THAT(entry.get_protect_users(), ElementsAre("ghost"));
  EXPECT_THAT(entry.get_protect_uids(), IsEmpty());
  platform_.users["ghost"] = {5009, {}, ""};
  EXPECT_THAT(entry.get_protect_uids(), ElementsAre(5009));
}

TEST_F(EntryTest, DeletedUser_HasNoNameButTheEntryStaysLegal) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_USER);
  entry.set_protect_users({"alice"});

  platform_.users.erase("alice");
  EXPECT_THAT(entry.get_protect_users(), IsEmpty());
  EXPECT_THAT(entry.get_protect_uids(), ElementsAre(5001));
  EXPECT_TRUE(entry.IsLegal());
}

TEST_F(EntryTest, SetProtectUids_ReplacesIdsAndRemovesNames) {
  Entry entry;
  entry.set_protect_users({"alice", "ghost"});

  entry.set_protect_uids({5002, 9999, 5002});
  EXPECT_THAT(entry.get_protect_uids(), ElementsAre(5002, 9999, 5002));
  EXPECT_THAT(entry.get_protect_users(), ElementsAre("bob", "bob"));
}

TEST_F(EntryTest, SetProtectGroups_KeepsNamesThatAreNotFound) {
  Entry entry;

  entry.set_protect_groups({"friends", "ghosts", "family"});
  EXPECT_THAT(entry.get_protect_gids(), ElementsAre(6002, 6001));
  EXPECT_THAT(entry.get_protect_groups(), ElementsAre("friends", "family", "ghosts"));
  EXPECT_THAT(entry.get_protect_users(), IsEmpty());
  platform_.groups["ghosts"] = 6009;
  EXPECT_THAT(entry.get_protect_gids(), ElementsAre(6002, 6001, 6009));
  entry.set_protect_groups({"family"});
  EXPECT_THAT(entry.get_protect_groups(), ElementsAre("family"));
}

TEST_F(EntryTest, SetProtectGids_ReplacesIdsAndRemovesNames) {
  Entry entry;
  entry.set_protect_groups({"family", "ghosts"});

  entry.set_protect_gids({6002, 9999});
  EXPECT_THAT(entry.get_protect_gids(), ElementsAre(6002, 9999));
  EXPECT_THAT(entry.get_protect_groups(), ElementsAre("friends"));
}

TEST_F(EntryTest, UserAndGroupLists_DoNotTouchEachOther) {
  Entry entry;
  entry.set_protect_users({"alice", "ghost"});
  entry.set_protect_groups({"family", "ghosts"});

  entry.set_protect_uids({5002});
  EXPECT_THAT(entry.get_protect_groups(), ElementsAre("family", "ghosts"));
  entry.set_protect_gids({6002});
  EXPECT_THAT(entry.get_protect_users(), ElementsAre("bob"));
}

}  // namespace
}  // namespace VEXO::sharing::record
