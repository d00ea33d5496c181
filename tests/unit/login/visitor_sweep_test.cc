#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "failure_sweep.h"
#include "sharing_db.h"
#include "sharinglogin.h"
#include "visitor_test.h"

namespace VEXO {
namespace {

using sharing::db::Failure;
using sharing::db::SharingDB;
using sharing::db::SweepFailures;
using sharing::record::Entry;
using testing::AnyOf;

/// Whether a login or a check may succeed although this call failed.  A failure that is
/// not listed here must refuse the visitor.
bool IsTolerated(const Failure& failure) {
  return !failure.happened() ||
         // The ids could not be restored: logged, and the operation goes on.
         failure.IsOfLeaving() ||
         // The use could not be counted: logged, and the login goes on.
         failure.Logged("update entry use count fail") ||
         // The end of a store has no result.
         failure.Concerns("PRAGMA wal_checkpoint;") ||
         failure.IsOf("VEXOAutoBlockFailLoginReset") ||
         // A session that was not found or not stored is replaced by a new one.
         failure.Concerns("INSERT INTO session") || failure.IsOf("getString") ||
         // A name that could not be converted is used as it is.
         failure.IsOf("VEXOUserLoginNameConvert") ||
         // A group that could not be looked up counts as none.
         failure.IsOf("VEXOGroupGetGID") ||
         // A value that could not be escaped is written as an empty text.
         (failure.IsOf("VEXODBEscapeStringEX2") &&
          (failure.Concerns("UPDATE ") || failure.Concerns("INSERT ")));
}

/// The same for a login, which creates a session or token that was not found.
bool IsToleratedInLogin(const Failure& failure) {
  return IsTolerated(failure) || failure.Concerns("SELECT * FROM session") ||
         failure.Concerns("SELECT * FROM token");
}

struct Visit {
  const char* name;
  Entry entry;
  _tag_sharing_login_params params;
  bool admitted;
};

std::vector<Visit> Visits() {
  Entry used_up = OpenEntry();
  used_up.set_expire_times(1);
  used_up.set_use_count(1);
  Entry disabled = OpenEntry();
  disabled.set_enabled(false);
  return {
      {"open", OpenEntry(), {"hash", nullptr, nullptr, nullptr, nullptr}, true},
      {"known session", OpenEntry(), {"hash", nullptr, nullptr, nullptr, "sid"}, true},
      {"password", PasswordEntry(), {"hash", "secret", nullptr, nullptr, "sid"}, true},
      {"user", UserEntry({1001}), {"hash", nullptr, "anna", "anna's", "sid"}, true},
      {"group", UserEntry({}, {50}), {"hash", nullptr, "anna", "anna's", "sid"}, true},
      {"wrong password", PasswordEntry(), {"hash", "x", nullptr, nullptr, "sid"}, false},
      {"no password", PasswordEntry(), {"hash", nullptr, nullptr, nullptr, "sid"}, false},
      {"not listed",
       UserEntry({7}, {7}),
       {"hash", nullptr, "anna", "anna's", "sid"},
       false},
      {"refused", UserEntry({1001}), {"hash", nullptr, "anna", "x", "sid"}, false},
      {"no user", UserEntry({1001}), {"hash", nullptr, nullptr, nullptr, "sid"}, false},
      {"used up", used_up, {"hash", nullptr, nullptr, nullptr, "sid"}, false},
      {"disabled", disabled, {"hash", nullptr, nullptr, nullptr, "sid"}, false},
      {"unknown", OpenEntry(), {"other", nullptr, nullptr, nullptr, "sid"}, false}};
}

/// Prepares a sweep: accounts, the link, and a session without a token for the link.
void ArrangeVisit(Failure& failure, const Visit& visit) {
  SharingDB::Instance();
  AddAccounts(failure.platform);
  failure.platform.request_params["_sid"] = "appliance sid";
  Store(visit.entry);
  AddSession(failure.platform, 7, "sid", kFarAhead, "192.0.2.7", 1001);
}

TEST(LoginSweep, AnyCallFails_AdmitsNobodyWhoIsNotAllowed) {
  std::vector<Visit> visits;
  {
    const fakes::Platform platform;
    visits = Visits();
  }
  for (const Visit& visit : visits) {
    SCOPED_TRACE(visit.name);
    SweepFailures([&visit](Failure& failure) {
      ArrangeVisit(failure, visit);
      std::string out = "before";
      failure.Arm();

      const int result = VEXO::VexoSharingLogin(out, &visit.params, false);
      if (!failure.happened()) {
        EXPECT_EQ(visit.admitted, result == 1) << result;
      } else if (!visit.admitted || !IsToleratedInLogin(failure)) {
        EXPECT_THAT(result, AnyOf(-2, -3, -4, -8, -9, -10, -11));
      }
      if (failure.IsOf("VexoCgiGetRemoteIP")) {
        EXPECT_EQ(-4, result);
      }
      EXPECT_EQ(result == 1, out != "before");
      EXPECT_EQ((fakes::Rows{{result == 1 ? "1" : "0"}}),
                failure.platform.Sql("SELECT count(*) FROM token"));
    });
  }
}

TEST(AuthorizeSweep, AnyCallFails_AdmitsNobodyWhoIsNotAllowed) {
  std::vector<Visit> visits;
  {
    const fakes::Platform platform;
    visits = Visits();
  }
  for (Visit& visit : visits) {
    SCOPED_TRACE(visit.name);
    visit.params.session_id = "sid";
    SweepFailures([&visit](Failure& failure) {
      ArrangeVisit(failure, visit);
      AddToken(failure.platform, 3, 1, 7);
      failure.Arm();

      const int result = VEXO::VexoSharingIsAuthorized(&visit.params);
      const std::string name = visit.name;
      // The check needs no password, and without a user name checks the session's user.
      const bool admitted = visit.admitted || name == "wrong password" ||
                            name == "no password" || name == "no user" ||
                            name == "used up";
      if (!failure.happened()) {
        EXPECT_EQ(admitted, result == 1) << result;
      } else if (!admitted || !IsTolerated(failure)) {
        EXPECT_THAT(result, AnyOf(-1, -2, -4, -5, -6, -7, -8));
      }
      if (result != 1) {
        EXPECT_EQ((fakes::Rows{{std::to_string(kFarAhead)}}),
                  failure.platform.Sql("SELECT timeout FROM token"));
      }
    });
  }
}

TEST(AuthorizeSweep, ExpiredSessionOrToken_AnyCallFails_IsNeverAuthorized) {
  for (const char* table : {"session", "token"}) {
    SCOPED_TRACE(table);
    SweepFailures([table](Failure& failure) {
      SharingDB::Instance();
      Store(OpenEntry());
      AddSession(failure.platform, 7, "sid");
      AddToken(failure.platform, 3, 1, 7);
      failure.platform.Sql(std::string("UPDATE ") + table + " SET timeout=1000");
      const _tag_sharing_login_params params = {"hash", nullptr, nullptr, nullptr, "sid"};
      failure.Arm();

      EXPECT_LT(VEXO::VexoSharingIsAuthorized(&params), 0);
    });
  }
}

TEST(LogoutSweep, AnyCallFails_IsFalseWithTheTokenKept) {
  SweepFailures([](Failure& failure) {
    SharingDB::Instance();
    Store(OpenEntry());
    AddSession(failure.platform, 7, "sid");
    AddToken(failure.platform, 3, 1, 7);
    failure.Arm();

    const bool done = VEXO::VexoSharingLogout("hash", "sid");
    EXPECT_EQ(!failure.happened() || failure.IsOfLeaving() ||
                  failure.Concerns("PRAGMA wal_checkpoint;"),
              done);
    EXPECT_EQ((fakes::Rows{{done ? "0" : "1"}}),
              failure.platform.Sql("SELECT count(*) FROM token"));
  });
}

TEST(UseCountSweep, AnyCallFails_IsFalseWithTheCountKept) {
  SweepFailures([](Failure& failure) {
    SharingDB::Instance();
    Store(OpenEntry());
    failure.Arm();

    const bool done = VEXO::VexoSharingIncreaseUseCount("hash");
    const bool value_lost = failure.IsOf("VEXODBEscapeStringEX2") && done;
    EXPECT_EQ(!failure.happened() || failure.IsOfLeaving() || value_lost ||
                  failure.Concerns("PRAGMA wal_checkpoint;"),
              done);
    if (!value_lost) {
      EXPECT_EQ((fakes::Rows{{done ? "1" : "0"}}),
                failure.platform.Sql("SELECT use_count FROM entry"));
    }
  });
}

}  // namespace
}  // namespace VEXO
