#include "cli/secret_input.h"

#include <bsd/readpassphrase.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/unique_fd.h"
#include "cli/interrupt.h"
#include "cli/report.h"

namespace command {

namespace {

using admin::Secret;

bool Failed(const std::string& source, const std::string& reason) {
  ReportError("cannot read the " + source + ": " + reason);
  return false;
}

std::string ReadErrorText() { return Interrupted() ? "interrupted" : strerror(errno); }

bool ReadLine(int fd, const std::string& source, Secret& secret) {
  char byte = '\0';
  while (true) {
    // Byte by byte, unlike readpassphrase: what follows the line is for the
    // next reader.
    const ssize_t count = read(fd, &byte, 1);
    if (count == -1) return Failed(source, ReadErrorText());
    if (count == 0 || byte == '\n') break;
    if (byte == '\0') return Failed(source, "the line contains a NUL byte");
    if (!secret.Append(byte)) {
      return Failed(source, "the line is longer than 4095 bytes");
    }
  }
  secret.RemoveCarriageReturn();
  return !secret.empty() || Failed(source, "the line is empty");
}

/// Reads from the terminal, which does not echo.
bool Prompt(const std::string& what, const std::string& source, Secret& secret) {
  char line[Secret::kMaxLength + 1] = "";
  const std::string prompt = "Enter the " + what + ": ";
  if (readpassphrase(prompt.c_str(), line, sizeof(line), RPP_REQUIRE_TTY) == nullptr) {
    return Failed(source, ReadErrorText());
  }
  for (const char* at = line; *at != '\0'; ++at) secret.Append(*at);
  explicit_bzero(line, sizeof(line));
  return !secret.empty() || Failed(source, "the line is empty");
}

}  // namespace

bool ReadSecret(const std::string& what, Secret& secret) {
  const std::string source = what + " from standard input";
  return isatty(STDIN_FILENO) == 0 ? ReadLine(STDIN_FILENO, source, secret)
                                   : Prompt(what, source, secret);
}

bool ReadSecretFile(const std::string& path, Secret& secret) {
  const std::string source = "password from " + path;
  const VEXO::base::UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  struct stat status = {};
  if (!file || fstat(file.get(), &status) == -1) return Failed(source, strerror(errno));
  if (S_ISREG(status.st_mode) && (status.st_mode & S_IROTH) != 0) {
    return Failed(source, "the file is readable by all users; use chmod 600");
  }
  return ReadLine(file.get(), source, secret);
}

}  // namespace command
