#include "child_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace fakes {

pid_t StartChild(const std::function<bool()>& work) {
  fflush(nullptr);  // or the child would print the buffered output again
  const pid_t child = fork();
  if (child == -1) {
    perror("fork");
    abort();
  }
  if (child != 0) return child;
  const bool good = work();
  fflush(nullptr);
  _exit(good ? 0 : 1);
}

bool EndsWell(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) == -1) {
    if (errno != EINTR) return false;
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace fakes
