#include "admin.h"

#include <fcntl.h>
#include <json/reader.h>
#include <json/value.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <map>
#include <set>
#include <sstream>

#include "journal.h"
#include "system_test.h"

namespace storm {

namespace {

const char kBackup[] = "/tmp/storm/backup.db";
const char kOutput[] = "/tmp/storm/admin.out";
const char kErrors[] = "/tmp/storm/admin.err";

const char kUnknown[] = "?";  // title after an edit that failed

constexpr int kNotRun = 127;
constexpr int kProblems = 1;

bool Redirect(const char* path, int fd) {
  const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  return file != -1 && dup2(file, fd) != -1;
}

/// Exit status of the program, whose output goes to two files; minus the signal that
/// ended it.
int Run(std::vector<std::string> arguments) {
  std::vector<char*> texts;
  for (std::string& argument : arguments) texts.push_back(argument.data());
  texts.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (Redirect(kOutput, STDOUT_FILENO) && Redirect(kErrors, STDERR_FILENO)) {
      execv(texts[0], texts.data());
    }
    _exit(kNotRun);
  }
  int status = 0;
  while (child != -1 && waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  if (child == -1) return kNotRun;
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

/// What the last command printed; null when it is no JSON.
Json::Value Output() {
  std::istringstream text(system_test::ReadFile(kOutput));
  Json::Value output;
  std::string errors;
  const bool read =
      Json::parseFromStream(Json::CharReaderBuilder(), text, &output, &errors);
  return read && output.isObject() ? output : Json::Value();
}

/// What "check --json" found that is not the storm's own doing: the workers' owners are
/// no accounts, and a purge may come between the last use of a link and its token.
std::string SeriousProblem() {
  const std::set<std::string> harmless = {"owner_gone", "token_without_link"};
  const Json::Value output = Output();
  if (output.isNull()) return "no JSON";
  for (const Json::Value& problem : output["problems"]) {
    const std::string kind = problem["kind"].asString();
    if (harmless.count(kind) == 0) {
      return kind + ", " + problem["items"][0].asString();
    }
  }
  return "";
}

class Admin {
 public:
  Admin(const std::string& journal, const std::string& commands)
      : journal_(journal), program_(commands + "/vexosharing") {}

  void Command(const std::vector<std::string>& arguments) {
    Operation operation;
    operation.action = Action::kCommand;
    operation.text = arguments.front();
    Do(operation, arguments);
  }

  /// Looks whether the title of the last edit is still there, and stores another.
  void Edit(const std::string& link) {
    Operation look;
    look.action = Action::kCommand;
    look.link = link;
    look.text = "show";
    Do(look, {"show", "--json", link});
    Operation operation;
    operation.action = Action::kEdit;
    operation.link = link;
    operation.text = "edit " + std::to_string(++edits_);
    std::string& title = titles_[link];
    title = Do(operation, {"edit", link, "--title", operation.text}) ? operation.text
                                                                     : kUnknown;
  }

 private:
  bool Do(Operation operation, std::vector<std::string> arguments) {
    operation.expected = 0;
    journal_.Intend(operation);
    Answer answer;
    const auto begin = std::chrono::steady_clock::now();
    const std::string name = "vexosharing " + arguments.front();
    arguments.insert(arguments.begin(), program_);
    answer.code = Run(arguments);
    answer.microseconds = std::chrono::duration_cast<std::chrono::microseconds>(
                              std::chrono::steady_clock::now() - begin)
                              .count();
    if (operation.text == "check" && answer.code == kProblems) {
      answer.detail = SeriousProblem();
      if (!answer.detail.empty()) answer.complaint = name + " found a problem";
    } else if (answer.code != 0) {
      answer.complaint = name + " ended with " + std::to_string(answer.code);
      answer.detail = system_test::ReadFile(kErrors);
    }
    if (answer.good() && operation.text == "show") CheckTitle(operation.link, answer);
    journal_.Record(answer);
    return answer.good();
  }

  void CheckTitle(const std::string& link, Answer& answer) const {
    const auto wanted = titles_.find(link);
    if (wanted == titles_.end() || wanted->second == kUnknown) return;
    const std::string title = Output()["link"]["protect_title"].asString();
    if (title == wanted->second) return;
    answer.complaint = "title set by vexosharing edit was overwritten";
    answer.detail = link + " has \"" + title + "\" instead of \"" + wanted->second + "\"";
  }

  Journal journal_;
  const std::string program_;
  int edits_ = 0;
  std::map<std::string, std::string> titles_;  // by link, the last that was stored
};

}  // namespace

void Administer(const std::string& journal, const std::string& commands,
                const std::vector<std::string>& links, const StopFlag& stop) {
  Admin admin(journal, commands);
  const std::vector<std::vector<std::string>> turns = {{"backup", "--force", kBackup},
                                                       {"export"},
                                                       {"list", "--json"},
                                                       {"check", "--json"},
                                                       {"purge"}};
  for (std::size_t turn = 0; !stop.IsSet(); ++turn) {
    admin.Edit(links[turn % links.size()]);
    admin.Command(turns[turn % turns.size()]);
  }
}

}  // namespace storm
