#include "fastcgi.h"

#include <fcgiapp.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "base/unique_fd.h"
#include "web/pages/pages.h"
#include "web/server/exchange.h"
#include "web/server/fastcgi_input.h"
#include "web/server/stop.h"
#include "web/server/workers.h"

namespace web {
namespace {

// What the worker itself sends.  A larger body could fill the buffers of the socket, and
// would then be sent at the pace of the visitor.
constexpr std::uint64_t kLargestOwnBody = 128 << 10;

// How long a write to the server may take: in the worker, and in a child.
constexpr time_t kWorkerTimeout = 5;
constexpr time_t kChildTimeout = 600;

// How long a form may take until another worker is started.
constexpr std::chrono::milliseconds kFastForm{100};

// How long they read what nobody wants, so that the server can pass their answer on.
constexpr std::chrono::milliseconds kWorkerDrainTime{100};
constexpr std::chrono::seconds kChildDrainTime{10};

void SetTimeouts(int socket, time_t read_seconds, time_t write_seconds) {
  const timeval read_time = {read_seconds, 0};
  const timeval write_time = {write_seconds, 0};
  setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &read_time, sizeof(read_time));
  setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &write_time, sizeof(write_time));
}

/// The children that send and receive bodies.
class Children {
 public:
  /// Forgets those that have ended.  No other child of the process is waited for.
  void Reap() {
    const auto ended = [](pid_t child) { return waitpid(child, nullptr, WNOHANG) != 0; };
    pids_.erase(std::remove_if(pids_.begin(), pids_.end(), ended), pids_.end());
  }
  /// Waits until all have ended, or a signal arrives.
  void Wait() {
    while (!pids_.empty() && waitpid(pids_.back(), nullptr, 0) != -1) pids_.pop_back();
  }
  void Add(pid_t child) { pids_.push_back(child); }
  size_t size() const { return pids_.size(); }

 private:
  std::vector<pid_t> pids_;
};

/// While it exists, a worker that waits for a form asks for another one in its place.
class SlowFormWatch {
 public:
  SlowFormWatch() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);  // the thread of the worker gets them
    thread_ = std::thread([this] { Watch(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
  SlowFormWatch(const SlowFormWatch&) = delete;
  SlowFormWatch& operator=(const SlowFormWatch&) = delete;
  ~SlowFormWatch() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      read_ = true;
    }
    changed_.notify_one();
    thread_.join();
  }

 private:
  void Watch() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!changed_.wait_for(lock, kFastForm, [this] { return read_; })) {
      AskForReplacement();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool read_ = false;
  std::thread thread_;
};

class Worker {
 public:
  Worker(const Handler& handler, int downloads)
      : handler_(handler), downloads_(downloads) {}

  int Serve();

 private:
  /// False when the worker is of no more use.
  bool AnswerOne();
  bool HasMoreBody(const Variables& variables) const;
  bool NeedsChild(const Variables& variables, const Response& response) const;
  bool AnswerByChild(const Variables& variables, Response response);
  bool AnswerInChild(const Variables& variables, Response response);
  bool Send(const Variables& variables, const Response& response);
  void Finish(bool sent);
  void FinishEarly(std::chrono::milliseconds drain_time);
  void BreakOff();

  const Handler& handler_;
  const size_t downloads_;
  FCGX_Request request_ = {};
  Children children_;
};

int Worker::Serve() {
  FCGX_InitRequest(&request_, STDIN_FILENO, FCGI_FAIL_ACCEPT_ON_INTR);
  while (!IsStopping()) {
    children_.Reap();
    const int result = FCGX_Accept_r(&request_);
    if (result == 0) {
      if (!AnswerOne()) return EXIT_FAILURE;
      if (IsReplaced()) break;
    } else if (!IsStopping() && result != -EINTR) {
      syslog(LOG_ERR, "cannot accept a connection of the web server: %s",
             strerror(result < 0 ? -result : errno));
      return EXIT_FAILURE;
    }
  }
  if (!IsStopping()) children_.Wait();
  return EXIT_SUCCESS;
}

bool Worker::AnswerOne() {
  SetTimeouts(request_.ipcFd, kWorkerTimeout, kWorkerTimeout);
  const Variables variables(request_.envp);
  Response response = AnswerSafely(handler_, variables, [this](size_t limit) {
    const SlowFormWatch watch;
    return ReadInput(request_.in, limit);
  });
  const bool failed = response.status == 503;
  if (!NeedsChild(variables, response)) {
    Finish(Send(variables, response));
  } else if (!AnswerByChild(variables, std::move(response))) {
    const bool sent = Send(variables, MakeTryLater());
    if (HasMoreBody(variables)) {
      FinishEarly(kWorkerDrainTime);
    } else {
      Finish(sent);
    }
  }
  // Transfers end with their worker, and one that sends them has opened the database.
  return !failed || children_.size() > 0 || Handler::CanLookUp();
}

/// Whether the visitor may still be sending.
bool Worker::HasMoreBody(const Variables& variables) const {
  const std::string& length = variables.Get("CONTENT_LENGTH");
  const bool has_body =
      (!length.empty() && length != "0") || variables.Has("HTTP_TRANSFER_ENCODING");
  return has_body && FCGX_HasSeenEOF(request_.in) == 0;
}

bool Worker::NeedsChild(const Variables& variables, const Response& response) const {
  if (response.finish || HasMoreBody(variables)) return true;
  if (variables.Get("REQUEST_METHOD") == "HEAD") return false;
  if (response.body == nullptr) return response.content.size() > kLargestOwnBody;
  return response.body->Length().value_or(kLargestOwnBody + 1) > kLargestOwnBody;
}

bool Worker::Send(const Variables& variables, const Response& response) {
  const bool sent = SendResponse(variables, response, [this](std::string_view piece) {
    if (piece.empty()) return HasReceiver(request_.ipcFd);
    return FCGX_PutStr(piece.data(), static_cast<int>(piece.size()), request_.out) ==
           static_cast<int>(piece.size());
  });
  return sent && FCGX_FFlush(request_.out) == 0;
}

/// Ends the request, or breaks off an answer that was not sent to its end.
void Worker::Finish(bool sent) {
  if (sent) {
    FCGX_Finish_r(&request_);
  } else {
    BreakOff();
  }
}

/// Ends a request whose visitor may still be sending.  Closing the connection in the
/// usual way would read all of it, however much it is.
void Worker::FinishEarly(std::chrono::milliseconds drain_time) {
  const VEXO::base::UniqueFd connection(dup(request_.ipcFd));
  FCGX_Detach(&request_);
  FCGX_Finish_r(&request_);
  shutdown(connection.get(), SHUT_WR);
  DrainInput(connection.get(), drain_time);
}

/// Ends the connection without the record that ends a request, so that the server does
/// not take what was sent for the whole answer.
void Worker::BreakOff() {
  FCGX_Free(&request_, 1);
  FCGX_InitRequest(&request_, STDIN_FILENO, FCGI_FAIL_ACCEPT_ON_INTR);
}

bool Worker::AnswerByChild(const Variables& variables, Response response) {
  children_.Reap();
  if (children_.size() >= downloads_) return false;
  FCGX_Detach(&request_);  // closing the parent's end must not end the connection
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == -1) {
    FCGX_Attach(&request_);
    return false;
  }
  if (child == 0) {
    // From here on nothing of the library is called, and nothing is destroyed.
    signal(SIGTERM, SIG_DFL);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(EXIT_FAILURE);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);  // the listening socket
    FCGX_Attach(&request_);
    _exit(AnswerInChild(variables, std::move(response)) ? EXIT_SUCCESS : EXIT_FAILURE);
  }
  children_.Add(child);
  BreakOff();
  return true;
}

bool Worker::AnswerInChild(const Variables& variables, Response response) {
  SetTimeouts(request_.ipcFd, std::chrono::seconds(kPieceTime).count(), kChildTimeout);
  const Response finished = FinishResponse(
      std::move(response),
      [this](char* buffer, size_t size) { return ReadSome(request_.in, buffer, size); });
  FailOutputOnStop(request_.ipcFd);  // what was sent until then is recorded
  if (!Send(variables, finished)) return false;
  if (HasMoreBody(variables)) {
    FinishEarly(kChildDrainTime);
  } else {
    FCGX_Finish_r(&request_);
  }
  return true;
}

}  // namespace

int ServeFastCgi(const Handler& handler, int downloads) {
  CatchStopSignals();
  if (FCGX_Init() != 0) {
    syslog(LOG_ERR, "FastCGI cannot be set up");
    return EXIT_FAILURE;
  }
  return Worker(handler, downloads).Serve();
}

}  // namespace web
