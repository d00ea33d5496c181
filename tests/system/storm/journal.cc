#include "journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

namespace storm {

namespace {

const char* const kNames[] = {
    "open the database",
    "end 20 idle stores",
    "create a link",
    "log in",
    "log in with a wrong password",
    "check",
    "log out",
    "update a link",
    "count links",
    "delete a link",
    "delete tokens of a link",
    "delete a session",
    "purge one owner's links",
    "purge what has expired",
    "count a failed login",
    "vexosharing edit",
    "vexosharing",
};
static_assert(std::size(kNames) == kActions);

constexpr char kIntention = '>';
constexpr char kOutcome = '<';
constexpr char kSeparator = '\t';

/// A line of the journal: the kind, then the fields.
class Line {
 public:
  explicit Line(char kind) : text_(1, kind) {}

  Line& Add(const std::string& field) {
    text_ += kSeparator;
    for (const char character : field) {
      text_ += character == kSeparator || character == '\n' ? ' ' : character;
    }
    return *this;
  }
  Line& Add(long number) { return Add(std::to_string(number)); }

  std::string Text() const { return text_ + "\n"; }

 private:
  std::string text_;
};

/// The fields of a line one by one; those that it lacks are empty.
class Fields {
 public:
  explicit Fields(const std::string& line) : line_(line) { Text(); }

  std::string Text() {
    std::string field;
    std::getline(line_, field, kSeparator);
    return field;
  }
  long Number() { return atol(Text().c_str()); }

 private:
  std::istringstream line_;
};

Operation ReadOperation(const std::string& line) {
  Fields fields(line);
  Operation operation;
  operation.action = static_cast<Action>(fields.Number());
  operation.expected = fields.Number();
  operation.link = fields.Text();
  operation.session = fields.Text();
  operation.text = fields.Text();
  operation.limit = static_cast<int>(fields.Number());
  operation.auto_gc = fields.Number() != 0;
  operation.owner = static_cast<unsigned int>(fields.Number());
  return operation;
}

Answer ReadAnswer(const std::string& line) {
  Fields fields(line);
  Answer answer;
  answer.code = fields.Number();
  answer.microseconds = fields.Number();
  answer.link = fields.Text();
  answer.id = static_cast<int>(fields.Number());
  answer.session = fields.Text();
  answer.complaint = fields.Text();
  answer.detail = fields.Text();
  return answer;
}

}  // namespace

const char* NameOf(Action action) { return kNames[static_cast<int>(action)]; }

Journal::Journal(const std::string& path)
    : fd_(open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_CLOEXEC, 0600)) {
  if (fd_ == -1) {
    perror(path.c_str());
    abort();
  }
}

Journal::~Journal() { close(fd_); }

void Journal::Intend(const Operation& operation) {
  Line line(kIntention);
  line.Add(static_cast<long>(operation.action)).Add(operation.expected);
  line.Add(operation.link).Add(operation.session).Add(operation.text);
  line.Add(operation.limit).Add(operation.auto_gc ? 1 : 0).Add(operation.owner);
  Write(line.Text());
}

void Journal::Record(const Answer& answer) {
  Line line(kOutcome);
  line.Add(answer.code).Add(answer.microseconds).Add(answer.link).Add(answer.id);
  line.Add(answer.session).Add(answer.complaint).Add(answer.detail);
  Write(line.Text());
}

void Journal::Write(const std::string& line) {
  if (write(fd_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    perror("journal");
    abort();
  }
}

void ReadJournal(const std::string& path, const std::function<void(const Step&)>& each) {
  std::ifstream file(path);
  std::optional<Step> step;
  std::string line;
  // A line that ends with the file was cut off by the end of its process.
  while (std::getline(file, line) && !file.eof()) {
    if (line[0] == kIntention) {
      step = Step{ReadOperation(line), std::nullopt};
    } else if (step) {
      step->answer = ReadAnswer(line);
      each(*step);
      step.reset();
    }
  }
  if (step) each(*step);
}

}  // namespace storm
