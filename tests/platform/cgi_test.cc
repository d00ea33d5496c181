#include "vexo/cgi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "cgi_text.h"
#include "log_capture.h"
#include "support.h"
#include "temp_dir.h"

using fakes::LogCapture;
using fakes::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using VEXO::platform::CookieHeader;
using VEXO::platform::ParseCookies;
using VEXO::platform::ParseForm;

namespace {

const char* const kFormType = "application/x-www-form-urlencoded";
constexpr unsigned int kHangSeconds = 60;  // ends a process that hangs
constexpr size_t kBound = size_t{64} * 1024;

class Context {
 public:
  Context() { EXPECT_EQ(VexoCgiInit("", &context_), 1); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  ~Context() { VexoCgiFree(&context_); }

  VexoCgiContext* get() { return &context_; }
  /// The parameter's value, or "(none)".
  std::string Param(const char* name) {
    const char* const value = VexoCgiGetRequestParam(&context_, name, 0);
    return value == nullptr ? "(none)" : value;
  }

 private:
  VexoCgiContext context_{};
};

/// Runs `body` as a CGI program with the given request body, which a process can read
/// only once, hence in a child.
void WithRequest(const char* type, const std::string& length, const std::string& sent,
                 const std::function<void()>& body) {
  const TempDir dir;
  const std::string path = dir.Write("stdin", sent);
  InChild([&] {
    ASSERT_NE(freopen(path.c_str(), "r", stdin), nullptr);
    const ScopedVariable content_type("CONTENT_TYPE", type);
    const ScopedVariable content_length("CONTENT_LENGTH", length.c_str());
    body();
  });
}

/// A pipe that is standard input from now on.
class Pipe {
 public:
  Pipe() {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    EXPECT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
    close(ends[0]);
    write_end_ = ends[1];
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() { close(write_end_); }

  void Send(const std::string& text) const {
    EXPECT_EQ(write(write_end_, text.data(), text.size()),
              static_cast<ssize_t>(text.size()));
  }

 private:
  int write_end_ = -1;
};

std::string RestOfStandardInput() {
  std::string rest(2 * kBound, '\0');
  const ssize_t got = read(STDIN_FILENO, rest.data(), rest.size());
  return rest.substr(0, got == -1 ? 0 : got);
}

int SetCookie(Context& context, const char* name, const char* value) {
  return VexoCgiSetCookies(context.get(), name, value, 0, "/", nullptr, 0);
}

int Login(const char* user, const char* password) {
  Context context;
  char out[123] = "before";
  const VexoCgiLoginRequest request{user, password, "webui", 15, 1};
  const int answer = VexoCgiLogin(context.get(), out, sizeof(out), &request);
  EXPECT_STREQ(out, "");
  return answer;
}

std::string RemoteIP() {
  char buffer[65] = "";
  return VexoCgiGetRemoteIP(buffer, sizeof(buffer)) == -1 ? "(none)" : buffer;
}

}  // namespace

TEST(CgiContext, NullAndZeroedContexts_AreTolerated) {
  VexoCgiContext zeroed{};

  EXPECT_NE(VexoCgiInit("", nullptr), 1);
  VexoCgiLoadInCookies(&zeroed);
  VexoCgiLoadInCookies(nullptr);
  EXPECT_EQ(VexoCgiGetRequestParam(&zeroed, "a", 0), nullptr);
  EXPECT_NE(VexoCgiSetCookies(&zeroed, "a", "b", 0, "/", nullptr, 0), 1);
  EXPECT_NE(VexoCgiLogin(&zeroed, nullptr, 0, nullptr), 1);
  VexoCgiFree(&zeroed);
  VexoCgiFree(nullptr);
}

TEST(CgiContext, FreedTwice_IsAllowed) {
  VexoCgiContext context{};
  ASSERT_EQ(VexoCgiInit("", &context), 1);

  VexoCgiFree(&context);
  EXPECT_EQ(context.state, nullptr);
  VexoCgiFree(&context);
}

TEST(CgiParam, Query_IsDecoded) {
  WithRequest("", "", "", [] {
    const ScopedVariable query("QUERY_STRING",
                               "_sid=a%2Fb+c%27&empty=&bare&n%61me=%C3%A4");
    Context context;

    EXPECT_EQ(context.Param("_sid"), "a/b c'");
    EXPECT_EQ(context.Param("empty"), "");
    EXPECT_EQ(context.Param("bare"), "");
    EXPECT_EQ(context.Param("name"), "\xc3\xa4");
    EXPECT_EQ(context.Param("missing"), "(none)");
    EXPECT_EQ(VexoCgiGetRequestParam(context.get(), nullptr, 0), nullptr);
  });
}

TEST(CgiParam, GarbageInTheQuery_IsTolerated) {
  EXPECT_THAT(
      ParseForm("a=%&b=%4&c=%zz&d=%4"),
      ElementsAre(Pair("a", "%"), Pair("b", "%4"), Pair("c", "%zz"), Pair("d", "%4")));
  EXPECT_THAT(ParseForm("&&=x&a=1=2&a=second&"), ElementsAre(Pair("a", "1=2")));
  EXPECT_THAT(ParseForm("a=x%00y&b%00=1&c=1"), ElementsAre(Pair("c", "1")));
  EXPECT_THAT(ParseForm(""), IsEmpty());
}

TEST(CgiParam, NoRequestAtAll_HasNoParameters) {
  InChild([] {
    const ScopedVariable query("QUERY_STRING", nullptr);
    const ScopedVariable type("CONTENT_TYPE", nullptr);

    EXPECT_EQ(Context().Param("_sid"), "(none)");
  });
}

TEST(CgiParam, Form_IsReadOnceAndSharedByEveryContext) {
  const std::string form = "password=p%26w&_sid=x";
  WithRequest(kFormType, std::to_string(form.size()), form, [] {
    Context first;
    Context second;
    EXPECT_EQ(first.Param("password"), "p&w");
    EXPECT_EQ(second.Param("_sid"), "x");
    EXPECT_EQ(Context().Param("password"), "p&w");
    EXPECT_EQ(second.Param("missing"), "(none)");
  });
}

TEST(CgiParam, FormFromAPipeWithALineEndBehindIt_IsSharedByEveryContext) {
  WithRequest(kFormType, "3", "", [] {
    const Pipe pipe;
    pipe.Send("a=1\r\n");
    EXPECT_EQ(Context().Param("a"), "1");
    EXPECT_EQ(Context().Param("a"), "1");
  });
}

TEST(CgiRequest, OtherStandardInputWithTheSameVariables_HasItsOwnForm) {
  WithRequest(kFormType, "3", "", [] {
    for (const char* value : {"1", "2", "3"}) {
      const Pipe pipe;
      pipe.Send(std::string("a=") + value);
      EXPECT_EQ(Context().Param("a"), value);
    }
  });
}

TEST(CgiRequest, NextBodyOnTheSamePipeWithTheSameVariables_IsRead) {
  WithRequest(kFormType, "3", "", [] {
    const Pipe pipe;
    pipe.Send("a=1");
    EXPECT_EQ(Context().Param("a"), "1");
    pipe.Send("a=2");
    EXPECT_EQ(Context().Param("a"), "2");
  });
}

TEST(CgiRequest, BodyBehindTheForm_IsNotReadWhileAContextIsInUse) {
  WithRequest(kFormType, "3", "", [] {
    const Pipe pipe;
    pipe.Send("a=1a=2");
    Context first;
    EXPECT_EQ(first.Param("a"), "1");
    EXPECT_EQ(Context().Param("a"), "1");
    EXPECT_EQ(first.Param("a"), "1");
  });
}

TEST(CgiRequest, RewoundStandardInput_IsReadAgain) {
  WithRequest(kFormType, "3", "a=1", [] {
    EXPECT_EQ(Context().Param("a"), "1");
    ASSERT_EQ(lseek(STDIN_FILENO, 0, SEEK_SET), 0);
    EXPECT_EQ(Context().Param("a"), "1");
    EXPECT_EQ(RestOfStandardInput(), "");
  });
}

TEST(CgiRequest, ChangedVariableOnTheSameInput_IsANewRequest) {
  WithRequest(kFormType, "3", "a=1a=2a=3b=4", [] {
    EXPECT_EQ(Context().Param("a"), "1");
    const ScopedVariable port("REMOTE_PORT", "2000");
    EXPECT_EQ(Context().Param("a"), "2");
    const ScopedVariable cookie("HTTP_COOKIE", "id=x");
    EXPECT_EQ(Context().Param("a"), "3");
    const ScopedVariable other("SOMETHING_ELSE", "x");
    EXPECT_EQ(Context().Param("b"), "(none)");
    const ScopedVariable uri("REQUEST_URI", "/x");
    EXPECT_EQ(Context().Param("a"), "(none)");
    EXPECT_EQ(Context().Param("b"), "4");
  });
}

TEST(CgiRequest, VariablesOfALogin_AreNotANewRequest) {
  WithRequest(kFormType, "3", "a=1a=2", [] {
    EXPECT_EQ(Context().Param("a"), "1");
    const ScopedVariable type("AUTH_TYPE", "Basic");
    const ScopedVariable user("REMOTE_USER", "alice");
    const ScopedVariable ident("REMOTE_IDENT", "alice");
    EXPECT_EQ(Context().Param("a"), "1");
  });
}

TEST(CgiRequest, ChangedVariableOnAPipeWithoutAnotherBody_IsTheSameRequest) {
  for (const char* sent : {"a=1", "a=1\r\n"}) {
    WithRequest(kFormType, "3", "", [sent] {
      alarm(kHangSeconds);
      const Pipe pipe;
      pipe.Send(sent);
      EXPECT_EQ(Context().Param("a"), "1");
      const ScopedVariable header("HTTP_X", "1");
      EXPECT_EQ(Context().Param("a"), "1");
      const Context kept;
      const ScopedVariable uri("REQUEST_URI", "/x");
      EXPECT_EQ(Context().Param("a"), "1");
    });
  }
}

TEST(CgiRequest, ChangedVariableOnAPipeWithAnotherBody_IsANewRequest) {
  WithRequest(kFormType, "3", "", [] {
    alarm(kHangSeconds);
    const Pipe pipe;
    pipe.Send("a=1");
    Context first;
    EXPECT_EQ(first.Param("a"), "1");
    pipe.Send("a=2");
    const ScopedVariable header("HTTP_X", "1");
    EXPECT_EQ(Context().Param("a"), "2");
    EXPECT_EQ(Context().Param("a"), "2");
    EXPECT_EQ(first.Param("a"), "1");
  });
}

TEST(CgiRequest, OtherVisitorOnAPipeWithoutAnotherBody_SeesNoFormAndDoesNotWait) {
  WithRequest(kFormType, "3", "", [] {
    alarm(kHangSeconds);
    const Pipe pipe;
    pipe.Send("a=1");
    EXPECT_EQ(Context().Param("a"), "1");
    const ScopedVariable port("REMOTE_PORT", "2000");
    EXPECT_EQ(Context().Param("a"), "(none)");
    const ScopedVariable address("REMOTE_ADDR", "192.0.2.9");
    EXPECT_EQ(Context().Param("a"), "(none)");
    pipe.Send("a=2");
    EXPECT_EQ(Context().Param("a"), "2");
  });
}

TEST(CgiRequest, RequestWithoutABodyOnAPipe_SeesNoFormOfTheLastOne) {
  WithRequest(kFormType, "3", "", [] {
    const Pipe pipe;
    pipe.Send("a=1");
    EXPECT_EQ(Context().Param("a"), "1");
    const ScopedVariable type("CONTENT_TYPE", nullptr);
    const ScopedVariable length("CONTENT_LENGTH", nullptr);
    EXPECT_EQ(Context().Param("a"), "(none)");
  });
}

TEST(CgiRequest, OrderOfTheVariables_DoesNotMatter) {
  WithRequest(kFormType, "3", "a=1", [] {
    const ScopedVariable address("REMOTE_ADDR", "192.0.2.1");
    const ScopedVariable port("REMOTE_PORT", "2000");
    EXPECT_EQ(Context().Param("a"), "1");
    unsetenv("REMOTE_ADDR");
    setenv("REMOTE_ADDR", "192.0.2.1", 1);
    EXPECT_EQ(Context().Param("a"), "1");
  });
}

TEST(CgiRequest, RequestWithoutABody_SeesNoFormOfTheLastOne) {
  WithRequest(kFormType, "3", "a=1", [] {
    EXPECT_EQ(Context().Param("a"), "1");
    const ScopedVariable type("CONTENT_TYPE", nullptr);
    const ScopedVariable length("CONTENT_LENGTH", nullptr);
    EXPECT_EQ(Context().Param("a"), "(none)");
  });
}

TEST(CgiRequest, ContextOfAnEarlierRequest_KeepsItsForm) {
  WithRequest(kFormType, "3", "", [] {
    const Pipe first_input;
    first_input.Send("a=1");
    Context first;
    EXPECT_EQ(first.Param("a"), "1");
    const Pipe second_input;
    second_input.Send("a=2");
    EXPECT_EQ(Context().Param("a"), "2");
    EXPECT_EQ(first.Param("a"), "1");
  });
}

TEST(CgiParam, Query_ComesBeforeTheForm) {
  WithRequest(kFormType, "3", "a=2", [] {
    const ScopedVariable query("QUERY_STRING", "a=1");
    Context context;
    EXPECT_EQ(context.Param("a"), "1");
    EXPECT_EQ(RestOfStandardInput(), "a=2");
  });
}

TEST(CgiParam, FormTypeWithParameters_IsAForm) {
  WithRequest("Application/X-WWW-Form-Urlencoded ; charset=UTF-8", "3", "a=2",
              [] { EXPECT_EQ(Context().Param("a"), "2"); });
}

TEST(CgiParam, BytesBehindTheForm_AreLeftAlone) {
  WithRequest(kFormType, "3", "a=2behind", [] {
    EXPECT_EQ(Context().Param("a"), "2");
    EXPECT_EQ(RestOfStandardInput(), "behind");
  });
}

TEST(CgiParam, Upload_IsNotEaten) {
  for (const char* type : {"multipart/form-data; boundary=x", "application/json", "",
                           "text/plain", "application/x-www-form-urlencoded2"}) {
    WithRequest(type, "3", "a=2", [] {
      EXPECT_EQ(Context().Param("a"), "(none)");
      EXPECT_EQ(RestOfStandardInput(), "a=2");
    });
  }
}

TEST(CgiParam, FormAtTheBound_IsReadAndOneOverItIsNot) {
  const std::string form = "a=" + std::string(kBound - 2, 'x');
  WithRequest(kFormType, std::to_string(kBound), form,
              [&] { EXPECT_EQ(Context().Param("a").size(), kBound - 2); });

  WithRequest(kFormType, std::to_string(kBound + 1), form + "x", [&] {
    EXPECT_EQ(Context().Param("a"), "(none)");
    EXPECT_EQ(RestOfStandardInput().size(), kBound + 1);
  });
}

TEST(CgiParam, GarbageLength_MeansNoForm) {
  for (const char* length :
       {"", "x", "-3", "3x", " 3", "0x3", "3.0", "+3", "99999999999999999999999", "0"}) {
    WithRequest(kFormType, length, "a=2", [length] {
      EXPECT_EQ(Context().Param("a"), "(none)") << length;
      EXPECT_EQ(RestOfStandardInput(), "a=2") << length;
    });
  }
}

TEST(CgiParam, FormThatEndsEarly_IsNotUsed) {
  WithRequest(kFormType, "10", "a=2", [] { EXPECT_EQ(Context().Param("a"), "(none)"); });
}

TEST(CgiCookies, Header_IsSplit) {
  EXPECT_THAT(ParseCookies("id=abc; other=\t1=2 ;id=second"),
              ElementsAre(Pair("id", "abc"), Pair("other", "1=2")));
}

TEST(CgiCookies, GarbageHeader_LeavesTheGoodOnes) {
  EXPECT_THAT(ParseCookies(""), IsEmpty());
  EXPECT_THAT(ParseCookies(";;; = ;=x;noequals;\"q\"=1;a b=c;d=\"e\";f=g\r\nh;\xff=\xff"),
              IsEmpty());
  EXPECT_THAT(ParseCookies(std::string(100000, ';') + "id=1;" + std::string(1000, '=')),
              ElementsAre(Pair("id", "1")));
}

TEST(CgiCookies, HeaderOfCookies_IsReadBackTheSame) {
  const auto cookies = ParseCookies("b=2; a=1");

  EXPECT_EQ(CookieHeader(cookies), "a=1; b=2");
  EXPECT_EQ(ParseCookies(CookieHeader(cookies)), cookies);
  EXPECT_EQ(CookieHeader({}), "");
}

TEST(CgiCookies, GarbageInTheEnvironment_IsTolerated) {
  const ScopedVariable header("HTTP_COOKIE", "\xff\x01;=;;; garbage");
  Context context;

  VexoCgiLoadInCookies(context.get());
  EXPECT_EQ(SetCookie(context, "id", "abc"), 1);
}

TEST(CgiCookies, GoodCookie_IsSet) {
  Context context;

  EXPECT_EQ(SetCookie(context, "id", "abc-_.~!%/+=:@"), 1);
  EXPECT_EQ(SetCookie(context, "id", ""), 1);
  EXPECT_EQ(VexoCgiSetCookies(context.get(), "id", "x", 60, nullptr, "example.org", 1),
            1);
}

TEST(CgiCookies, WhatCouldBreakAHeaderLine_IsRefused) {
  Context context;
  for (const char* value : {"a;b", "a,b", "a\r\nSet-Cookie: x", "a\nb", "a b", "a\tb",
                            "a\"b", "a\\b", "\x7f", "\x01", "\xc3\xa4"}) {
    EXPECT_NE(SetCookie(context, "id", value), 1) << value;
  }
  for (const char* name : {"", "a=b", "a;b", "a b", "a\n", "a,b", "\xff", "(a)"}) {
    EXPECT_NE(SetCookie(context, name, "x"), 1) << name;
  }

  EXPECT_NE(SetCookie(context, nullptr, "x"), 1);
  EXPECT_NE(SetCookie(context, "id", nullptr), 1);
  EXPECT_NE(VexoCgiSetCookies(context.get(), "id", "x", 0, "/;x", nullptr, 0), 1);
  EXPECT_NE(VexoCgiSetCookies(context.get(), "id", "x", 0, "/", "a\nb", 0), 1);
}

TEST(CgiLogin, NoNameOrNoPassword_IsRefusedWithoutAsking) {
  const LogCapture log;

  EXPECT_NE(Login(nullptr, "x"), 1);
  EXPECT_NE(Login("", "x"), 1);
  EXPECT_NE(Login("root", nullptr), 1);
  EXPECT_NE(Login("root", ""), 1);
  EXPECT_THAT(log.lines(), IsEmpty());  // whatever PAM refuses is logged
}

TEST(CgiRemoteIP, Address_IsCanonical) {
  const ScopedVariable forwarded("HTTP_X_FORWARDED_FOR", nullptr);
  {
    const ScopedVariable remote("REMOTE_ADDR", "::ffff:192.0.2.7");
    EXPECT_EQ(RemoteIP(), "192.0.2.7");
  }
  const ScopedVariable remote("REMOTE_ADDR", "2001:DB8:0:0::1");
  EXPECT_EQ(RemoteIP(), "2001:db8::1");
}

TEST(CgiRemoteIP, NoAddress_IsMinus1) {
  for (const char* text : {static_cast<const char*>(nullptr), "", "localhost", "1.2.3.4;",
                           "1.2.3.4 OR 1=1", "::1%lo"}) {
    const ScopedVariable remote("REMOTE_ADDR", text);
    EXPECT_EQ(RemoteIP(), "(none)");
  }
}

TEST(CgiRemoteIP, BufferThatIsTooSmall_IsMinus1AndUntouched) {
  const ScopedVariable remote("REMOTE_ADDR", "192.0.2.7");
  char buffer[10] = "before";

  EXPECT_EQ(VexoCgiGetRemoteIP(buffer, 9), -1);
  EXPECT_STREQ(buffer, "before");
  EXPECT_EQ(VexoCgiGetRemoteIP(nullptr, 100), -1);
  EXPECT_EQ(VexoCgiGetRemoteIP(buffer, 10), 0);
  EXPECT_STREQ(buffer, "192.0.2.7");
}

TEST(CgiDenied, TextThatIsNotAnAddress_IsNotBlocked) {
  EXPECT_EQ(VexoCgiIsDeniedIP("garbage"), 0);
  EXPECT_EQ(VexoCgiIsDeniedIP(""), 0);
  EXPECT_EQ(VexoCgiIsDeniedIP(nullptr), 0);
}
