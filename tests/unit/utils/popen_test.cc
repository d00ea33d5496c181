#include "internal/popen.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <string>

#include "fake_platform.h"
#include "log_capture.h"

namespace VEXO::sharing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

const char* const kArguments[] = {"tool", "", "x", nullptr};

TEST(Popen, ToolStarts_ReadsItsOutputAndClosesAtTheEnd) {
  fakes::Platform platform;
  fakes::LogCapture log;
  platform.tools["/bin/tool"] = {"hello", 0};
  char text[6] = {};

  {
    const Popen pipe("/bin/tool", kArguments);
    ASSERT_NE(nullptr, pipe.file);
    EXPECT_EQ(5u, fread(text, 1, sizeof(text), pipe.file));
    EXPECT_THAT(platform.calls({"VLIBCPclose"}), IsEmpty());
  }
  EXPECT_STREQ("hello", text);
  EXPECT_THAT(platform.calls(),
              ElementsAre("VLIBCPopenv(/bin/tool, r, [tool, , x])", "VLIBCPclose(pipe)"));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Popen, ToolDoesNotStart_IsNullLoggedAndNotClosed) {
  fakes::Platform platform;
  fakes::LogCapture log;

  { EXPECT_EQ(nullptr, Popen("/bin/tool", kArguments).file); }
  EXPECT_THAT(platform.calls({"VLIBCPclose"}), IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre(MatchesRegex("internal/popen:[0-9]+ \\(" +
                                                    std::to_string(getpid()) +
                                                    "\\) VLIBCPopenv failed\\.\n")));
}

}  // namespace
}  // namespace VEXO::sharing
