// Which libraries a visit loads, and what happens without them.  Each visit is a process
// of its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "entry_db.h"
#include "hidden_library.h"
#include "sharing_db.h"
#include "sharing_visit.h"
#include "sharinglogin.h"
#include "system_test.h"

using fakes::HiddenLibrary;
using system_test::Answer;
using system_test::InChild;
using system_test::Link;
using system_test::Root;
using testing::Contains;
using testing::HasSubstr;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::record::Entry;

namespace {

constexpr char kPassword[] = "open sesame";

/// Stores a link with a password, or without one.
void Store(Entry::ProtectType protection,
           Entry::PasswordEncryptAlgo form = Entry::ENCRYPT_ALGO_DEFAULT) {
  const Answer answer = InChild(Root(), [&] {
    Entry link = Link("link");
    link.set_protect_type(protection);
    link.set_protect_users({"alice"});
    if (protection == Entry::PROTECT_PASSWORD) {
      link.set_protect_password(kPassword, true, form);
    }
    return EntryDB(SharingDB::Instance()).Create(link) ? "stored" : "refused";
  });
  ASSERT_EQ(answer.text, "stored");
}

/// The libraries that this process has loaded, of those that are loaded when needed.
std::string Loaded() {
  const std::string maps = system_test::ReadFile("/proc/self/maps");
  std::string loaded;
  for (const char* const library : {"libcrypto", "libgcrypt", "libpam"}) {
    if (maps.find(std::string(library) + ".so") != std::string::npos) {
      loaded += std::string(" ") + library;
    }
  }
  return loaded;
}

struct Credentials {
  const char* user;
  const char* password;
};

/// The result code of a login, and the libraries that it has loaded.
Answer Login(const Credentials& credentials) {
  return InChild(Root(), [&] {
    setenv("REMOTE_ADDR", "192.0.2.1", 1);
    _tag_sharing_login_params params = {};
    params.hash = "link";
    params.username = credentials.user;
    params.user_password = credentials.password;
    params.password = credentials.password;
    std::string session;
    const int code = VEXO::VexoSharingLogin(session, &params, false);
    params.session_id = session.c_str();
    if (code == 1 && VEXO::VexoSharingIsAuthorized(&params) != 1) {
      return std::string("not authorized");
    }
    return std::to_string(code) + Loaded();
  });
}

/// The outcome of a visit with the right password.
int VisitWithPassword() {
  const Answer answer = InChild(Root(), [] {
    VEXO::sharing::VisitRequest request;
    request.project = "photos";
    request.hash = "link";
    request.method = "POST";
    request.remote_address = "192.0.2.1";
    request.cookie_name = "photos";
    request.cookie_path = "/photos/link";
    request.password = kPassword;
    return std::to_string(VEXO::sharing::Visit(request).outcome);
  });
  return std::stoi(answer.text);
}

}  // namespace

TEST(LazyLibrary, OpenLink_LoadsNone) {
  Store(Entry::PROTECT_NONE);

  EXPECT_EQ(Login({}).text, "1");
}

TEST(LazyLibrary, ProtectedLink_LoadsTheOneThatChecksThePassword) {
  Store(Entry::PROTECT_PASSWORD);
  EXPECT_EQ(Login({nullptr, kPassword}).text, "1 libgcrypt");
}

TEST(LazyLibrary, LinkWithAnMd5Password_LoadsTheOneForMd5) {
  Store(Entry::PROTECT_PASSWORD, Entry::ENCRYPT_ALGO_MD5);
  EXPECT_EQ(Login({nullptr, kPassword}).text, "1 libcrypto");
}

TEST(LazyLibrary, LinkForUsers_LoadsPam) {
  Store(Entry::PROTECT_USER);
  EXPECT_EQ(Login({"alice", "alice-secret"}).text, "1 libpam");
}

TEST(LazyLibrary, MissingLibrary_RefusesTheRightPasswordAndIsLogged) {
  Store(Entry::PROTECT_PASSWORD);
  const HiddenLibrary hidden("libgcrypt.so.20");

  const Answer login = Login({nullptr, kPassword});

  EXPECT_EQ(login.text, "-9");
  EXPECT_THAT(login.log, Contains(HasSubstr("cannot load a library: ")));
}

TEST(LazyLibrary, MissingLibraryForMd5_RefusesTheRightPassword) {
  Store(Entry::PROTECT_PASSWORD, Entry::ENCRYPT_ALGO_MD5);
  const HiddenLibrary hidden("libcrypto.so.3");

  EXPECT_EQ(Login({nullptr, kPassword}).text, "-9");
}

TEST(LazyLibrary, GuessesThatCannotBeCounted_AreAnsweredWithTryLater) {
  Store(Entry::PROTECT_PASSWORD);
  EXPECT_EQ(VisitWithPassword(), SHARING_VISIT_LOGGED_IN);
  const HiddenLibrary hidden("libcrypto.so.3");

  EXPECT_EQ(VisitWithPassword(), SHARING_VISIT_TRY_LATER);
}
