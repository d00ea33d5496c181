#include "web/thumbnails/run_helper.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/unique_fd.h"
#include "log_capture.h"
#include "temp_dir.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using web::Thumbnail;
using State = web::Thumbnail::State;

constexpr std::chrono::seconds kEnough(30);
const char kBegin[] = "\xff\xd8\xff";
const char kEnd[] = "\xff\xd9";

class RunHelper : public testing::Test {
 protected:
  Thumbnail Run(const std::string& program, const std::string& input = "",
                std::chrono::milliseconds time = kEnough) {
    const VEXO::base::UniqueFd picture(
        open(folder_.Write("picture", input).c_str(), O_RDONLY | O_CLOEXEC));
    return web::RunHelper(program, picture.get(), time);
  }

  /// A program that is a shell script.
  std::string Script(const std::string& commands) {
    const std::string path = folder_.Write("program", "#!/bin/sh\n" + commands + "\n");
    EXPECT_EQ(chmod(path.c_str(), 0755), 0);
    return path;
  }

  fakes::TempDir folder_;
  fakes::LogCapture log_;
};

TEST_F(RunHelper, PictureIsItsInput_AndTheThumbnailItsOutput) {
  const std::string jpeg = kBegin + std::string(100000, 'x') + kEnd;
  const Thumbnail made = Run("/bin/cat", jpeg);

  EXPECT_EQ(made.state, State::kMade);
  EXPECT_EQ(made.jpeg, jpeg);
}

TEST_F(RunHelper, HasNoOtherDescriptorAndNoEnvironment) {
  const VEXO::base::UniqueFd kept(
      fcntl(STDIN_FILENO, F_DUPFD, 50));  // not closed by exec
  const Thumbnail made =
      Run(Script("printf '\\377\\330\\377'; echo /proc/$$/fd/*; cat /proc/$$/environ; "
                 "printf '\\377\\331'"));

  ASSERT_EQ(made.state, State::kMade);
  EXPECT_THAT(made.jpeg, HasSubstr("/fd/2"));
  EXPECT_THAT(made.jpeg, testing::Not(HasSubstr("/fd/5")));
  EXPECT_THAT(made.jpeg, testing::EndsWith(std::string("\n") + kEnd));
}

TEST_F(RunHelper, Garbage_IsNoThumbnail) {
  for (const std::string& output :
       {std::string(), std::string("text"), std::string(kBegin),
        kBegin + std::string("x"), "x" + std::string(kEnd),
        std::string("<html>") + kBegin + kEnd}) {
    const Thumbnail made = Run("/bin/cat", output);
    EXPECT_EQ(made.state, State::kNone) << output;
    EXPECT_EQ(made.jpeg, "");
  }
}

TEST_F(RunHelper, TooMuchOutput_IsNoThumbnail) {
  EXPECT_EQ(Run(Script("exec cat /dev/zero")).state, State::kNone);
  const std::string jpeg = kBegin + std::string(web::kLongestThumbnail, 'x') + kEnd;
  EXPECT_EQ(Run("/bin/cat", jpeg).state, State::kNone);
}

TEST_F(RunHelper, ProgramThatDies_MeansThatThereIsNoThumbnail) {
  EXPECT_EQ(Run("/bin/false").state, State::kNone);
  EXPECT_EQ(Run(Script("kill -SEGV $$")).state, State::kNone);
  const std::string jpeg = std::string(kBegin) + kEnd + kEnd;
  EXPECT_EQ(Run(Script("cat; exit 1"), jpeg).state, State::kNone);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(RunHelper, ProgramThatCannotRun_IsLoggedAndTriedAgainLater) {
  EXPECT_EQ(Run(folder_.Path("none")).state, State::kLater);
  EXPECT_EQ(Run(Script("exit 2")).state, State::kLater);
  EXPECT_EQ(Run(Script("kill -KILL $$")).state, State::kLater);  // by lack of memory
  EXPECT_THAT(log_.lines(), ElementsAre(HasSubstr("the program failed"),
                                        HasSubstr("the program failed"),
                                        HasSubstr("the program failed")));
}

TEST_F(RunHelper, ProgramThatHangs_IsEnded) {
  const std::chrono::milliseconds time(300);
  EXPECT_EQ(Run(Script("exec sleep 1000"), "", time).state, State::kLater);
  // Also when it has closed its output.
  EXPECT_EQ(Run(Script("exec sleep 1000 >&-"), "", time).state, State::kLater);
  EXPECT_THAT(log_.lines(),
              ElementsAre(HasSubstr("took too long"), HasSubstr("took too long")));
}

}  // namespace
