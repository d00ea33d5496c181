// The least that a program behind a web server does: copies the file named by the query.
// bench/web/run compares sharing.cgi with it.

#include <fcgiapp.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

static char piece[1 << 16];

static void Answer(const char* path, FCGX_Stream* out) {
  struct stat status;
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file == -1 || fstat(file, &status) == -1) return;
  char head[128];
  const int length = snprintf(head, sizeof(head),
                              "Status: 200\r\nContent-Type: application/octet-stream\r\n"
                              "Content-Length: %lld\r\nAccept-Ranges: none\r\n\r\n",
                              (long long)status.st_size);
  if (out != NULL) {
    FCGX_PutStr(head, length, out);
  } else if (write(STDOUT_FILENO, head, (size_t)length) != length) {
    exit(1);
  }
  for (ssize_t count; (count = read(file, piece, sizeof(piece))) > 0;) {
    if (out != NULL) {
      if (FCGX_PutStr(piece, (int)count, out) == -1) break;
      continue;
    }
    for (ssize_t done = 0; done < count;) {
      const ssize_t now = write(STDOUT_FILENO, piece + done, (size_t)(count - done));
      if (now == -1) exit(1);
      done += now;
    }
  }
  close(file);
}

int main(void) {
  if (FCGX_IsCGI()) {
    Answer(getenv("QUERY_STRING"), NULL);
    return 0;
  }
  // As many workers as sharing.cgi has.
  for (int worker = 1; worker < 4; ++worker) {
    if (fork() == 0) {
      prctl(PR_SET_PDEATHSIG, SIGTERM);
      break;
    }
  }
  FCGX_Request request;
  FCGX_Init();
  FCGX_InitRequest(&request, 0, 0);
  while (FCGX_Accept_r(&request) == 0) {
    Answer(FCGX_GetParam("QUERY_STRING", request.envp), request.out);
    FCGX_Finish_r(&request);
  }
}
