#include "secret.h"

#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>

#include "draw_password.h"
#include "file_descriptor.h"
#include "interrupt.h"
#include "outcome.h"

namespace command {

namespace {

constexpr size_t kLongest = 4095;

/// While it lives, the terminal of standard input shows nothing of what is typed.
class NoEcho {
 public:
  NoEcho() : terminal_(tcgetattr(STDIN_FILENO, &before_) == 0) {
    if (!terminal_) return;
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
  }
  ~NoEcho() {
    if (!terminal_) return;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
    std::cerr << "\n";
  }
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;

 private:
  termios before_ = {};
  bool terminal_;
};

}  // namespace

// One buffer for good: a text that grew would leave copies behind.
Secret::Secret() { text_.reserve(kLongest + 1); }

Secret::~Secret() { explicit_bzero(text_.data(), text_.capacity()); }

bool Secret::ReadInput(const std::string& what) {
  const std::string name = "the line on standard input for the " + what;
  if (isatty(STDIN_FILENO) == 0) return ReadLine(STDIN_FILENO, name);
  const NoEcho silence;  // before the question: an answer that is quick is not lost
  std::cerr << "The " << what << ": " << std::flush;
  return ReadLine(STDIN_FILENO, name);
}

bool Secret::ReadFile(const std::string& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  struct stat status = {};
  if (file.get() == -1 || fstat(file.get(), &status) == -1) {
    Tell(path + ": " + strerror(errno));
    return false;
  }
  if (S_ISREG(status.st_mode) && (status.st_mode & S_IROTH) != 0) {
    Tell(path + " can be read by everyone: chmod 600 it first");
    return false;
  }
  return ReadLine(file.get(), "the first line of " + path);
}

bool Secret::ReadLine(int fd, const std::string& name) {
  text_.clear();
  char byte = '\0';
  const auto told = [&](const std::string& reason) {
    Tell(name + " " + reason);
    return false;
  };
  while (true) {
    // Byte by byte: what follows the line belongs to whoever reads next.
    const ssize_t count = read(fd, &byte, 1);
    if (count == -1 && Interrupted()) return told("was not waited for");
    if (count == -1) return told(std::string("cannot be read: ") + strerror(errno));
    if (count == 0 || byte == '\n') break;
    if (byte == '\0') return told("holds a zero byte");
    if (text_.size() == kLongest) return told("is longer than 4095 bytes");
    text_.push_back(byte);
  }
  // Another system's line end; nobody can type it.
  if (!text_.empty() && text_.back() == '\r') text_.pop_back();
  return !text_.empty() || told("is empty");
}

bool Secret::Generate() {
  if (tools::DrawPassword(text_)) return true;
  Tell(std::string("no random numbers: ") + strerror(errno));
  return false;
}

}  // namespace command
