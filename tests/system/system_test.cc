#include "system_test.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "child_process.h"
#include "log_capture.h"

namespace system_test {

const char* const kDatabase = "/usr/vexo/etc/private/session/sharing/sharing.db";
const char* const kDatabaseFolder = "/usr/vexo/etc/private/session/sharing";
const char* const kSchemaFolder = "/usr/vexo/share/vexosharing/db_schema";
const char* const kToolFolder = "/usr/vexo/bin";

namespace {

bool Take(const Account& account) {
  return setgroups(account.groups.size(), account.groups.data()) == 0 &&
         setresgid(account.group, account.group, account.group) == 0 &&
         setresuid(account.real, account.effective, account.saved) == 0;
}

void WriteAll(int fd, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t written = write(fd, text.data() + done, text.size() - done);
    if (written <= 0) _exit(1);
    done += static_cast<std::size_t>(written);
  }
}

std::string ReadAll(int fd) {
  std::string text;
  char buffer[4096];
  ssize_t got = 0;
  while ((got = read(fd, buffer, sizeof(buffer))) > 0) {
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return text;
}

}  // namespace

Account Root() { return Account(); }

Account System() { return Account{1, 1, 1, 1, {}}; }

Account SystemWithShadow() {
  const group* const shadow = getgrnam("shadow");
  if (shadow == nullptr) abort();
  return Account{1, 1, 1, 1, {shadow->gr_gid}};
}

Account Neither() { return Account{5001, 5001, 5001, 5001, {}}; }

Answer InChild(const Account& account, const std::function<std::string()>& work) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) == -1) abort();
  const pid_t child = fakes::StartChild([&] {
    fakes::LogCapture log;
    const std::string text = Take(account) ? work() : "the account cannot be taken";
    WriteAll(ends[1], text + '\0');
    for (const std::string& line : log.lines()) WriteAll(ends[1], line + '\0');
    return true;
  });
  close(ends[1]);
  std::istringstream answers(ReadAll(ends[0]));
  close(ends[0]);
  Answer answer;
  std::getline(answers, answer.text, '\0');
  std::string line;
  while (std::getline(answers, line, '\0')) answer.log.push_back(line);
  if (!fakes::EndsWell(child)) answer.text = "the child did not end well: " + answer.text;
  return answer;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  file << text;
  if (!file.flush()) abort();
}

std::string OwnerAndMode(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == -1) return "missing";
  std::ostringstream text;
  text << std::oct << (status.st_mode & 07777) << std::dec << " " << status.st_uid << ":"
       << status.st_gid;
  return text.str();
}

VEXO::sharing::record::Entry Link(const std::string& hash) {
  VEXO::sharing::record::Entry link;
  link.set_hash(hash);
  link.set_project_name("photos");
  link.set_owner_uid(5001);
  link.set_app(Json::Value(Json::objectValue));
  return link;
}

}  // namespace system_test
