#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "entry.h"
#include "entry_db.h"
#include "fake_platform.h"
#include "log_capture.h"
#include "sharing_db.h"
#include "sharinglogin.h"
#include "store_test.h"

namespace VEXO {

constexpr long kFarAhead = 9999999999;
constexpr long kDay = 86400;

inline sharing::record::Entry OpenEntry() { return sharing::db::LegalEntry(); }

inline sharing::record::Entry PasswordEntry(
    sharing::record::Entry::PasswordEncryptAlgo algo =
        sharing::record::Entry::ENCRYPT_ALGO_DEFAULT) {
  sharing::record::Entry entry = sharing::db::LegalEntry();
  entry.set_protect_type(sharing::record::Entry::PROTECT_PASSWORD);
  entry.set_protect_password("secret", true, algo);
  return entry;
}

inline sharing::record::Entry UserEntry(const std::vector<unsigned int>& uids,
                                        const std::vector<unsigned int>& gids = {}) {
  sharing::record::Entry entry = sharing::db::LegalEntry();
  entry.set_protect_type(sharing::record::Entry::PROTECT_USER);
  entry.set_protect_uids(uids);
  entry.set_protect_gids(gids);
  return entry;
}

inline void Store(sharing::record::Entry entry) {
  ASSERT_TRUE(sharing::db::EntryDB(sharing::db::SharingDB::Instance()).Create(entry));
}

inline void AddAccounts(fakes::Platform& platform) {
  platform.groups = {{"staff", 50}, {"guests", 60}};
  platform.users["anna"] = {1001, {"staff"}, "anna's"};
  platform.users["bert"] = {1002, {"guests"}, "bert's"};
}

inline void AddSession(fakes::Platform& platform, int id, const std::string& session_id,
                       long timeout = kFarAhead, const std::string& ip = "192.0.2.7",
                       unsigned int uid = 4294967295U) {
  platform.Sql("INSERT INTO session VALUES (" + std::to_string(id) + ",'" + session_id +
               "'," + std::to_string(uid) + ",'" + ip + "'," + std::to_string(timeout) +
               ")");
}

inline void AddToken(fakes::Platform& platform, int id, int entry_id, int session_id,
                     long timeout = kFarAhead) {
  platform.Sql("INSERT INTO token VALUES (" + std::to_string(id) + "," +
               std::to_string(entry_id) + "," + std::to_string(session_id) + "," +
               std::to_string(timeout) + ")");
}

/// The shared database is open and empty.
class VisitorTest : public testing::Test {
 protected:
  VisitorTest() {
    sharing::db::SharingDB::Instance();
    AddAccounts(platform_);
    platform_.ForgetCalls();
  }

  void SetUp() override { ASSERT_TRUE(sharing::db::SharingDB::Instance().IsGood()); }

  void StoreLink(const sharing::record::Entry& entry) {
    Store(entry);
    platform_.ForgetCalls();
  }

  int Login(bool suppress_autoblock = false) {
    return VEXO::VexoSharingLogin(out_, &params_, suppress_autoblock);
  }

  std::string One(const std::string& sql) {
    const fakes::Rows rows = platform_.Sql(sql);
    return rows.size() == 1 && rows[0].size() == 1 ? rows[0][0] : "not one value";
  }
  std::string Count(const std::string& table) {
    return One("SELECT count(*) FROM " + table);
  }

  /// Number of failed logins of the visitor's address.
  int Recorded() {
    const auto found = platform_.failed_logins.find(platform_.remote_ip);
    if (found == platform_.failed_logins.end()) return 0;
    EXPECT_EQ("SHARING", found->second.first);
    return found->second.second;
  }

  /// Expects that nothing was returned, stored or counted as a use.
  void ExpectNothingDone() {
    EXPECT_EQ("before", out_);
    EXPECT_EQ("0", Count("session"));
    EXPECT_EQ("0", Count("token"));
    EXPECT_EQ("0", One("SELECT coalesce(sum(use_count), 0) FROM entry"));
    EXPECT_THAT(platform_.calls({"VEXOAutoBlockFailLoginReset"}), testing::IsEmpty());
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  _tag_sharing_login_params params_ = {"hash", nullptr, nullptr, nullptr, nullptr};
  std::string out_ = "before";
};

/// A session 7, "sid", with the token 3 for the link 1, "hash"; another link 2.
class AuthorizeTest : public VisitorTest {
 protected:
  AuthorizeTest() {
    StoreLink(OpenEntry());
    StoreLink(sharing::db::LegalEntry("other"));
    AddSession(platform_, 7, "sid");
    AddToken(platform_, 3, 1, 7);
    params_.session_id = "sid";
  }

  int Authorize() { return VEXO::VexoSharingIsAuthorized(&params_); }

  void Protect(const sharing::record::Entry& entry) {
    sharing::record::Entry changed = entry;
    changed.set_id(1);
    ASSERT_TRUE(sharing::db::EntryDB(sharing::db::SharingDB::Instance()).Update(changed));
    platform_.ForgetCalls();
  }

  /// The log lines of the operations.
  sharing::db::Calls OwnLines() {
    sharing::db::Calls lines;
    for (const std::string& line : log_.lines()) {
      if (line.find("sharinglogin:") == 0) {
        lines.push_back(line);
      }
    }
    return lines;
  }

  void ExpectDeadlinesUnchanged() {
    EXPECT_EQ("9999999999", One("SELECT timeout FROM session"));
    EXPECT_EQ("9999999999", One("SELECT timeout FROM token"));
  }
};

/// Expects that `call` throws the error of a null text.
inline void ExpectNullRefused(const std::function<void()>& call) {
  try {
    call();
    ADD_FAILURE() << "nothing thrown";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ("basic_string::_M_construct null not valid", error.what());
  }
}

}  // namespace VEXO
