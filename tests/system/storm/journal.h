#pragma once

#include <functional>
#include <optional>
#include <string>

namespace storm {

/// Operations of the test.  journal.cc lists their names in the same order.
enum class Action {
  kOpen,
  kEndStores,
  kCreate,
  kLogIn,
  kWrongPassword,
  kCheck,
  kLogOut,
  kUpdate,
  kCount,
  kDelete,
  kRevoke,
  kDeleteSession,
  kPurgeOwned,
  kPurgeExpired,
  kFail,
  kEdit,
  kCommand,
};
constexpr int kActions = static_cast<int>(Action::kCommand) + 1;

const char* NameOf(Action action);

/// One operation, written to the journal before it runs.
struct Operation {
  Action action = Action::kOpen;
  long expected = 1;    // the answer to a database without faults
  std::string link;     // hash; empty for a link still to be made
  std::string session;  // id; empty for a session still to be made
  std::string text;     // title, address, or subcommand
  int limit = 0;        // of a new link: most uses, 0 for no limit
  bool auto_gc = true;  // of a new link
  unsigned int owner = 0;
};

/// The result of an operation.
struct Answer {
  long code = 0;
  long microseconds = 0;
  std::string link;
  int id = 0;  // row id of a new link
  std::string session;
  std::string complaint;  // what was wrong; empty for the right answer
  std::string detail;     // of the complaint

  bool good() const { return complaint.empty(); }
};

struct Step {
  Operation operation;
  std::optional<Answer> answer;  // nothing when the process ended before it
};

/// The operations of one process, in a file: one line before and one after each
/// operation. Lines are written unbuffered, so they survive if the process is killed.
class Journal {
 public:
  /// The file must not be there yet; ends the program when it cannot be made.
  explicit Journal(const std::string& path);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  void Intend(const Operation& operation);
  void Record(const Answer& answer);

 private:
  void Write(const std::string& line);

  int fd_;
};

/// Passes every step of a journal to `each`, in order.  A missing file counts as empty:
/// its process was killed early.
void ReadJournal(const std::string& path, const std::function<void(const Step&)>& each);

}  // namespace storm
