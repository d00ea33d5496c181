#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "hidden_library.h"
#include "log_capture.h"
#include "support.h"
#include "temp_dir.h"
#include "vexo/cgi.h"

using fakes::HiddenLibrary;
using fakes::LogCapture;
using fakes::TempDir;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const char* const kConfiguration = "/usr/vexo/etc/platform.conf";
const char* const kPamService = "/etc/pam.d/vexosharing";
constexpr uid_t kSystem = 1;
constexpr long kTmpfs = 0x01021994;

bool IsPrivate(const char* path) {
  struct statfs status {};
  return statfs(path, &status) == 0 && status.f_type == kTmpfs;
}

/// What the provider logged; PAM's modules log on their own.
std::vector<std::string> OwnLines(const LogCapture& log) {
  std::vector<std::string> own;
  for (const std::string& line : log.lines()) {
    if (line.rfind("VexoCgiLogin:", 0) == 0) own.push_back(line);
  }
  return own;
}

bool LogsIn(const std::string& user, const std::string& password) {
  VexoCgiContext context{};
  EXPECT_EQ(VexoCgiInit("", &context), 1);
  VexoCgiLoadInCookies(&context);
  EXPECT_EQ(VexoCgiSetCookies(&context, "id", "from-the-page", 0, "/", nullptr, 0), 1);
  char out[123] = "";
  const VexoCgiLoginRequest request{user.c_str(), password.c_str(), "webui", 15, 1};
  const int answer = VexoCgiLogin(&context, out, sizeof(out), &request);
  VexoCgiFree(&context);
  return answer == 1;
}

std::string RemoteIP(const char* remote, const char* forwarded) {
  const ScopedVariable remote_address("REMOTE_ADDR", remote);
  const ScopedVariable forwarded_for("HTTP_X_FORWARDED_FOR", forwarded);
  char buffer[65] = "";
  return VexoCgiGetRemoteIP(buffer, sizeof(buffer)) == -1 ? "(none)" : buffer;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

class CgiLogin : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(IsPrivate("/usr/vexo") && IsPrivate(kPamService))
        << "this test must run in the private namespace";
  }
};

class TrustedProxies : public CgiLogin {
 protected:
  void TearDown() override { std::filesystem::remove(kConfiguration); }
};

}  // namespace

TEST_F(CgiLogin, RightPassword_IsAccepted) {
  const LogCapture log;

  EXPECT_TRUE(LogsIn("alice", "alice-secret"));
  EXPECT_TRUE(LogsIn("bob", "bob-secret"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CgiLogin, WrongPassword_IsRefusedAndLoggedWithoutNameOrPassword) {
  const LogCapture log;

  EXPECT_FALSE(LogsIn("alice", "bob-secret"));
  EXPECT_THAT(OwnLines(log),
              ElementsAre("VexoCgiLogin: refused: Authentication failure"));
}

TEST_F(CgiLogin, ExpiredAccount_IsRefusedAfterTheRightPassword) {
  const LogCapture log;

  EXPECT_FALSE(LogsIn("carol", "carol-secret"));
  EXPECT_THAT(log.lines(), Contains(HasSubstr("carol has expired")));
  EXPECT_EQ(OwnLines(log).size(), 1U);
}

TEST_F(CgiLogin, UnknownAndOverlongNamesAndPasswords_AreRefused) {
  EXPECT_FALSE(LogsIn("nobody-has-this-name", "x"));
  EXPECT_FALSE(LogsIn(std::string(500, 'x'), "x"));
  EXPECT_FALSE(LogsIn("alice\n", "alice-secret"));
  EXPECT_FALSE(LogsIn("alice", std::string(1 << 20, 'x')));
}

TEST_F(CgiLogin, AccountWithoutPassword_IsRefused) {
  EXPECT_FALSE(LogsIn("daemon", "*"));
}

TEST_F(CgiLogin, MissingPam_IsRefusedAndLoggedUntilItIsThere) {
  const LogCapture log;
  {
    const HiddenLibrary pam("libpam.so.0");
    EXPECT_FALSE(LogsIn("alice", "alice-secret"));
  }
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("cannot load a library: ")));

  EXPECT_TRUE(LogsIn("alice", "alice-secret"));
}

TEST_F(CgiLogin, EffectiveRootOrRealRoot_IsEnough) {
  InChild([] {
    ASSERT_EQ(setresuid(-1, kSystem, -1), 0);
    EXPECT_TRUE(LogsIn("alice", "alice-secret"));
    EXPECT_FALSE(LogsIn("alice", "wrong"));
  });

  InChild([] {
    ASSERT_EQ(setresuid(kSystem, 0, 0), 0);
    EXPECT_TRUE(LogsIn("alice", "alice-secret"));
  });
}

TEST_F(CgiLogin, SystemAccountWithGroupShadow_ChecksPasswords) {
  const gid_t shadow = getgrnam("shadow")->gr_gid;
  InChild([shadow] {
    BecomeForGood(kSystem, {shadow});
    EXPECT_TRUE(LogsIn("alice", "alice-secret"));
    EXPECT_FALSE(LogsIn("alice", "wrong"));
    EXPECT_FALSE(LogsIn("carol", "carol-secret"));
  });
}

TEST_F(CgiLogin, BareSystemAccount_IsRefusedAndTheLogSaysWhy) {
  InChild([] {
    BecomeForGood(kSystem, {});
    const LogCapture log;
    EXPECT_FALSE(LogsIn("alice", "alice-secret"));
    EXPECT_THAT(OwnLines(log), ElementsAre(HasSubstr("group shadow")));
  });
}

TEST_F(CgiLogin, Modules_ReceiveTheAddressAndTheCookies) {
  const TempDir dir;
  const std::string tool = dir.Write(
      "tool", "#!/bin/sh\necho \"$PAM_RHOST|$HTTP_COOKIE\" > " + dir.Path("seen") + "\n");
  ASSERT_EQ(chmod(tool.c_str(), 0755), 0);
  const std::string before = ReadFile(kPamService);
  std::ofstream(kPamService) << before << "account required pam_exec.so " << tool << "\n";
  const ScopedVariable cookies("HTTP_COOKIE", "id=from-the-browser; theme=dark");
  const ScopedVariable remote("REMOTE_ADDR", "192.0.2.7");

  const bool accepted = LogsIn("alice", "alice-secret");
  std::ofstream(kPamService) << before;
  EXPECT_TRUE(accepted);
  EXPECT_EQ(ReadFile(dir.Path("seen")), "192.0.2.7|id=from-the-page; theme=dark\n");
}

TEST_F(CgiLogin, RefusedLogin_LeavesTheContextUsable) {
  VexoCgiContext context{};
  ASSERT_EQ(VexoCgiInit("", &context), 1);
  const VexoCgiLoginRequest wrong{"alice", "wrong", "webui", 15, 1};
  const VexoCgiLoginRequest right{"alice", "alice-secret", "webui", 15, 1};

  EXPECT_NE(VexoCgiLogin(&context, nullptr, 0, &wrong), 1);
  EXPECT_EQ(VexoCgiLogin(&context, nullptr, 0, &right), 1);
  VexoCgiFree(&context);
}

TEST_F(TrustedProxies, NoneConfigured_ForwardingHeaderDoesNotCount) {
  InChild([] { EXPECT_EQ(RemoteIP("10.0.0.1", "192.0.2.7"), "10.0.0.1"); });
}

TEST_F(TrustedProxies, ListedProxy_ForwardingHeaderCounts) {
  std::ofstream(kConfiguration) << "trusted_proxies = 10.0.0.0/8\n";
  InChild([] {
    EXPECT_EQ(RemoteIP("10.0.0.1", "192.0.2.7"), "192.0.2.7");
    EXPECT_EQ(RemoteIP("11.0.0.1", "192.0.2.7"), "11.0.0.1");
    EXPECT_EQ(RemoteIP("10.0.0.1", "garbage"), "10.0.0.1");
    EXPECT_EQ(RemoteIP("garbage", "192.0.2.7"), "(none)");
  });
}

TEST_F(TrustedProxies, WrongLine_IsLoggedAndNobodyIsTrusted) {
  std::ofstream(kConfiguration) << "trusted_proxies = 10.0.0.0/99\n";
  InChild([] {
    const LogCapture log;
    EXPECT_EQ(RemoteIP("10.0.0.1", "192.0.2.7"), "10.0.0.1");
    EXPECT_EQ(RemoteIP("10.0.0.1", "192.0.2.7"), "10.0.0.1");
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("platform.conf:1:")));
  });
}
