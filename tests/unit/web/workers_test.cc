#include "web/server/workers.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <ctime>

namespace {

constexpr int kReplaced = 64;  // that are left at the same time

/// Waits until the parent has started another worker, or for a while.
bool WaitUntilReplaced() {
  for (int tries = 0; tries < 100; ++tries) {
    if (web::IsReplaced()) return true;
    const timespec pause = {0, 5L * 1000 * 1000};
    nanosleep(&pause, nullptr);
  }
  return false;
}

char ReadOne(int fd) {
  pollfd input = {fd, POLLIN, 0};
  char answer = '?';
  if (poll(&input, 1, 60 * 1000) == 1 && read(fd, &answer, 1) == 1) return answer;
  return '-';
}

TEST(RunWorkers, WorkersThatAsk_AreReplacedUntil64AreLeft) {
  std::array<int, 2> answers;
  ASSERT_EQ(pipe(answers.data()), 0);
  const pid_t parent = fork();
  ASSERT_NE(parent, -1);
  if (parent == 0) {
    web::RunWorkers(1, [&answers] {
      web::AskForReplacement();
      const char answer = WaitUntilReplaced() ? 'r' : 'n';
      if (write(answers[1], &answer, 1) != 1) return EXIT_FAILURE;
      pause();  // until a signal ends it
      return EXIT_SUCCESS;
    });
    _exit(EXIT_SUCCESS);
  }
  int replaced = 0;
  while (ReadOne(answers[0]) == 'r') ++replaced;
  EXPECT_EQ(replaced, kReplaced);

  kill(parent, SIGTERM);
  int status = -1;
  EXPECT_EQ(waitpid(parent, &status, 0), parent);
  EXPECT_EQ(status, 0);
  close(answers[0]);
  close(answers[1]);
}

}  // namespace
