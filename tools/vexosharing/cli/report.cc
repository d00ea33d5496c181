#include "cli/report.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <ctime>
#include <iostream>

#include "admin/json_text.h"
#include "terminal/text.h"

namespace command {

namespace {

std::atomic<time_t> interrupted_at = 0;  // 0: not yet

void Note(int /*signal*/) {
  const time_t now = time(nullptr);
  if (interrupted_at == 0) {
    interrupted_at = now;
  } else if (now > interrupted_at) {  // and not the same one, sent to process and group
    _exit(kInterrupted);
  }
}

}  // namespace

void ReportError(const std::string& text) {
  std::cerr << "vexosharing: " << Printable(text) << "\n";
}

void ReportWarning(const std::string& text) { ReportError("warning: " + text); }

ExitCode Fail(ExitCode exit_code, const std::string& text) {
  ReportError(text);
  return exit_code;
}

ExitCode Fail(const admin::Error& error) {
  const std::pair<const char*, ExitCode> exit_codes[] = {
      {admin::kBadParameter, kUsageError},
      {admin::kMissingParameter, kUsageError},
      {admin::kNotPermitted, kDatabaseError},
      {admin::kNoDatabase, kDatabaseError},
      {admin::kDatabaseNotUsable, kDatabaseError},
      {admin::kInterrupted, kInterrupted}};
  for (const auto& [code, exit_code] : exit_codes) {
    if (error.code == code) return Fail(exit_code, error.Text());
  }
  return Fail(kRefused, error.Text());
}

bool FlushOutput() { return std::cout.flush().good(); }

ExitCode CloseOutput(ExitCode exit_code) {
  if (FlushOutput() || exit_code == kInterrupted) return exit_code;
  pollfd output = {STDOUT_FILENO, POLLOUT, 0};
  if (poll(&output, 1, 0) == 1 && (output.revents & (POLLERR | POLLHUP)) != 0) {
    return exit_code == kSuccess ? kReaderLeft : exit_code;
  }
  return Fail(exit_code == kSuccess ? kRefused : exit_code,
              "cannot write to standard output: the output is incomplete");
}

void CatchInterrupt() {
  struct sigaction action = {};
  action.sa_handler = Note;  // without SA_RESTART: waiting for input ends
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  struct sigaction hangup = {};
  sigaction(SIGHUP, nullptr, &hangup);
  if (hangup.sa_handler == SIG_IGN) return;  // started by nohup
  sigaction(SIGHUP, &action, nullptr);
}

bool Interrupted() { return interrupted_at != 0; }

void PrintJson(const Json::Value& value) { std::cout << admin::JsonText(value) << "\n"; }

void PrintResult(bool json,
                 std::initializer_list<std::pair<const char*, Json::Value>> members,
                 const std::string& text) {
  if (json) {
    PrintJson(admin::JsonObject(members));
  } else {
    std::cout << Printable(text) << "\n";
  }
}

void JsonArrayWriter::Add(const Json::Value& element) {
  AddText(admin::JsonText(element));
}

void JsonArrayWriter::AddText(const std::string& element) {
  std::cout << (empty_ ? "\n" : ",\n") << element;
  empty_ = false;
}

void JsonArrayWriter::End() const { std::cout << (empty_ ? "]" : "\n]"); }

}  // namespace command
