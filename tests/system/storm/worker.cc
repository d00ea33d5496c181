#include "worker.h"

#include <stdlib.h>
#include <unistd.h>
#include <vexo/autoblock.h>

#include <chrono>
#include <functional>
#include <iterator>
#include <random>
#include <set>

#include "entry.h"
#include "entry_db.h"
#include "journal.h"
#include "log_capture.h"
#include "session_db.h"
#include "sharing_db.h"
#include "sharinglogin.h"
#include "system_test.h"
#include "token_db.h"

using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SessionDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::db::TokenDB;
using VEXO::sharing::record::Entry;

namespace storm {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostLinks = 12;
constexpr std::size_t kMostSessions = 10;
constexpr std::size_t kLeftBehind = 2;  // of both, by a worker that ends
constexpr int kFewestSteps = 100;
constexpr int kMostSteps = 300;
constexpr unsigned int kFirstOwner = 10000;
constexpr unsigned int kSharedOwner = 0;
constexpr int kIdleStores = 20;
constexpr useconds_t kPauseAfterFailedOpening = 50000;

// Result codes of the library that the test provokes.
constexpr long kSuccess = 1;
constexpr long kNoLink = -3;
constexpr long kNoToken = -7;
constexpr long kWrongPassword = -9;
constexpr long kUseLimitReached = -11;

// Result codes of the test itself.
constexpr long kOtherSession = -100;
constexpr long kCountsDiffer = -101;

const char kPassword[] = "right";

/// In words that are the same for all faults of one kind.
std::string Difference(const Operation& operation, const Answer& answer) {
  if (operation.action == Action::kCount) return " answered a wrong number";
  return " answered " + std::to_string(answer.code) + " instead of " +
         std::to_string(operation.expected);
}

/// Does operations and writes each into the journal, with a judgement of its answer.
class Recorder {
 public:
  explicit Recorder(const std::string& journal) : journal_(journal) {}

  Answer Do(const Operation& operation, const std::function<void(Answer&)>& work) {
    journal_.Intend(operation);
    Answer answer;
    const fakes::LogCapture log;
    const Clock::time_point begin = Clock::now();
    work(answer);
    answer.microseconds =
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin)
            .count();
    if (answer.code != operation.expected) {
      answer.complaint =
          std::string(NameOf(operation.action)) + Difference(operation, answer);
      const std::string error = SharingDB::Instance().GetLastError();
      if (!error.empty()) answer.complaint += " (last error: " + error + ")";
    } else if (operation.expected == kSuccess && !log.lines().empty()) {
      answer.complaint = std::string(NameOf(operation.action)) + " logged an error";
    }
    if (!answer.good() && !log.lines().empty()) answer.detail = log.lines().front();
    journal_.Record(answer);
    return answer;
  }

  /// The same for work that answers by its code alone.
  bool Do(const Operation& operation, const std::function<long()>& work) {
    return Do(operation, [&work](Answer& answer) { answer.code = work(); }).good();
  }

  bool Open() {
    return Do(Operation{}, [] { return SharingDB::Instance().IsGood(); });
  }

  /// Stores the link; its hash and id are in the answer.
  Answer Create(Entry& link) {
    Operation operation;
    operation.action = Action::kCreate;
    operation.owner = link.get_owner_uid();
    operation.limit = link.get_expire_times();
    operation.auto_gc = link.get_auto_gc();
    return Do(operation, [&link](Answer& answer) {
      answer.code = EntryDB(SharingDB::Instance()).CreateWithHash(link) ? 1 : 0;
      answer.link = link.get_hash();
      answer.id = link.get_id();
    });
  }

  void PurgeExpired() {
    Operation operation;
    operation.action = Action::kPurgeExpired;
    Do(operation, [] {
      SharingDB& db = SharingDB::Instance();
      const bool done = EntryDB(db).PurgeExpired(1.0F) &&
                        SessionDB(db).PurgeExpired(1.0F) &&
                        TokenDB(db).PurgeExpired(1.0F);
      return done ? 1 : 0;
    });
  }

 private:
  Journal journal_;
};

Entry NewLink(const std::string& project, unsigned int owner) {
  Entry link = system_test::Link("");
  link.set_project_name(project);
  link.set_owner_uid(owner);
  link.set_enable_match_ip(false);
  return link;
}

class Worker {
 public:
  Worker(const std::string& journal, const Place& place,
         const std::vector<std::string>& shared_links)
      : recorder_(journal),
        shared_links_(shared_links),
        owner_(kFirstOwner + place.number),
        project_("storm-" + std::to_string(place.generation)),
        failing_address_("192.0.2." + std::to_string(place.number + 1)),
        other_address_("198.51.100." + std::to_string(place.number + 1)),
        random_(std::random_device()()) {}

  void Run(const StopFlag& stop);

 private:
  struct Link {
    std::string hash;
    int id = 0;
    bool password = false;
    bool limited = false;  // to one use
    bool auto_gc = false;
    bool used = false;
    int titles = 0;
  };
  struct Session {
    std::string id;
    std::set<std::string> links;  // that it is logged in to
  };

  void Step();
  void EndIdleStores();
  void Create();
  void LogInToOwnLink();
  void LogInToSharedLink();
  void Check();
  void LogOut();
  void Update();
  void Count();
  void Delete();
  void Revoke();
  void DeleteSession();
  void PurgeOwned();
  void PurgeExpired();
  void Fail();
  void LogInWithWrongPassword();
  void DeleteMostRows();

  int Draw(int below) {
    return std::uniform_int_distribution<int>(0, below - 1)(random_);
  }
  template <class Item>
  Item* Pick(std::vector<Item>& items) {
    return items.empty() ? nullptr : &items[Draw(static_cast<int>(items.size()))];
  }
  Operation Plan(Action action, const std::string& link, const std::string& session) {
    Operation operation;
    operation.action = action;
    operation.link = link;
    operation.session = session;
    operation.owner = owner_;
    return operation;
  }

  bool LogIn(const std::string& hash, const char* password, long expected);
  void CheckSession(const std::string& hash, const std::string& session, long expected);
  void DeleteLink(std::size_t index);
  void DropSession(std::size_t index);
  void ForgetLink(std::size_t index);

  Recorder recorder_;
  const std::vector<std::string> shared_links_;
  const unsigned int owner_;
  const std::string project_;
  const std::string failing_address_;  // its failures are never reset
  const std::string other_address_;
  std::mt19937 random_;
  std::vector<Link> links_;
  std::vector<Session> sessions_;
  bool link_count_known_ = true;  // whether it is known which links the project has
};

void Worker::Run(const StopFlag& stop) {
  setenv("REMOTE_ADDR", failing_address_.c_str(), 1);
  if (!recorder_.Open()) {
    usleep(kPauseAfterFailedOpening);
    return;
  }
  const int steps = kFewestSteps + Draw(kMostSteps - kFewestSteps);
  for (int step = 0; step < steps && !stop.IsSet(); ++step) Step();
  if (!stop.IsSet()) DeleteMostRows();
}

void Worker::Step() {
  constexpr struct {
    int share;
    void (Worker::*work)();
  } kMix[] = {{14, &Worker::Create},
              {22, &Worker::LogInToOwnLink},
              {8, &Worker::LogInToSharedLink},
              {22, &Worker::Check},
              {8, &Worker::LogOut},
              {5, &Worker::Update},
              {4, &Worker::Count},
              {6, &Worker::Delete},
              {2, &Worker::Revoke},
              {4, &Worker::DeleteSession},
              {2, &Worker::PurgeOwned},
              {1, &Worker::PurgeExpired},
              {1, &Worker::Fail},
              {1, &Worker::LogInWithWrongPassword}};
  EndIdleStores();
  int drawn = Draw(100);
  for (const auto& part : kMix) {
    drawn -= part.share;
    if (drawn < 0) return (this->*part.work)();
  }
}

/// Stores that only end, as of a program that looks whether there is anything to do.  The
/// end of a store is a checkpoint, and those that find nothing left to copy are the ones
/// that may meet a log which is just restarted.
void Worker::EndIdleStores() {
  recorder_.Do(Plan(Action::kEndStores, "", ""), [] {
    for (int i = 0; i < kIdleStores; ++i) EntryDB idle(SharingDB::Instance());
    return 1;
  });
}

void Worker::Create() {
  if (links_.size() >= kMostLinks) return Delete();
  Link link;
  Entry entry = NewLink(project_, owner_);
  const int kind = Draw(8);
  link.password = kind == 0;
  link.limited = kind == 1 || kind == 2;
  link.auto_gc = kind != 1;
  if (link.password) {
    entry.set_protect_type(Entry::PROTECT_PASSWORD);
    entry.set_protect_password(kPassword, true, Entry::ENCRYPT_ALGO_DEFAULT);
  }
  if (link.limited) entry.set_expire_times(1);
  entry.set_auto_gc(link.auto_gc);
  const Answer answer = recorder_.Create(entry);
  if (!answer.good()) {
    link_count_known_ = false;
    return;
  }
  link.hash = answer.link;
  link.id = answer.id;
  links_.push_back(link);
}

bool Worker::LogIn(const std::string& hash, const char* password, long expected) {
  Session* const known =
      sessions_.size() >= kMostSessions || Draw(2) == 0 ? Pick(sessions_) : nullptr;
  const bool resets = Draw(20) == 0;
  Operation operation = Plan(Action::kLogIn, hash, known == nullptr ? "" : known->id);
  operation.expected = expected;
  if (resets) setenv("REMOTE_ADDR", other_address_.c_str(), 1);
  const Answer answer = recorder_.Do(operation, [&](Answer& out) {
    _tag_sharing_login_params params = {};
    params.hash = hash.c_str();
    params.password = password;
    params.session_id = known == nullptr ? nullptr : known->id.c_str();
    out.code = VEXO::VexoSharingLogin(out.session, &params, !resets);
    if (out.code == kSuccess && known != nullptr && out.session != known->id) {
      out.code = kOtherSession;
    }
  });
  setenv("REMOTE_ADDR", failing_address_.c_str(), 1);
  if (!answer.good() || expected != kSuccess) return answer.good();
  if (known == nullptr) {
    sessions_.push_back({answer.session, {hash}});
  } else {
    known->links.insert(hash);
  }
  return true;
}

void Worker::LogInToOwnLink() {
  Link* const link = Pick(links_);
  if (link == nullptr) return Create();
  const char* const password = link->password ? kPassword : nullptr;
  if (!link->limited) {
    LogIn(link->hash, password, kSuccess);
    return;
  }
  if (link->used) {
    LogIn(link->hash, password, kUseLimitReached);
    return;
  }
  const bool counted = LogIn(link->hash, password, kSuccess);
  link->used = true;
  // From now on a purge by any process may delete it.
  if (!counted) link_count_known_ = false;
  if (!counted || link->auto_gc) ForgetLink(link - links_.data());
}

void Worker::LogInToSharedLink() {
  LogIn(shared_links_[Draw(static_cast<int>(shared_links_.size()))], nullptr, kSuccess);
}

void Worker::CheckSession(const std::string& hash, const std::string& session,
                          long expected) {
  Operation operation = Plan(Action::kCheck, hash, session);
  operation.expected = expected;
  recorder_.Do(operation, [&] {
    _tag_sharing_login_params params = {};
    params.hash = hash.c_str();
    params.session_id = session.c_str();
    return VEXO::VexoSharingIsAuthorized(&params);
  });
}

void Worker::Check() {
  Session* const session = Pick(sessions_);
  if (session == nullptr || session->links.empty()) return LogInToSharedLink();
  const auto link =
      std::next(session->links.begin(), Draw(static_cast<int>(session->links.size())));
  CheckSession(*link, session->id, kSuccess);
}

void Worker::LogOut() {
  Session* const session = Pick(sessions_);
  if (session == nullptr || session->links.empty()) return LogInToOwnLink();
  const std::string hash = *session->links.begin();
  const bool out = recorder_.Do(Plan(Action::kLogOut, hash, session->id), [&] {
    return VEXO::VexoSharingLogout(hash, session->id) ? 1 : 0;
  });
  session->links.erase(hash);
  if (out && Draw(3) == 0) CheckSession(hash, session->id, kNoToken);
}

void Worker::Update() {
  Link* const link = Pick(links_);
  if (link == nullptr) return Create();
  Operation operation = Plan(Action::kUpdate, link->hash, "");
  operation.text = "title " + std::to_string(++link->titles);
  recorder_.Do(operation, [&] {
    EntryDB links(SharingDB::Instance());
    Entry entry;
    if (!links.GetByHash(link->hash, entry)) return 0;
    entry.set_protect_title(operation.text);
    return links.Update(entry) ? 1 : 0;
  });
}

void Worker::Count() {
  if (!link_count_known_) return Check();
  Operation operation = Plan(Action::kCount, "", "");
  operation.expected = static_cast<long>(links_.size());
  recorder_.Do(operation, [&] {
    EntryDB links(SharingDB::Instance());
    links.GetCondition().Where("project_name", project_);
    links.GetCondition().Where("owner_uid", std::to_string(owner_));
    // Without those that anyone's purge may have deleted.
    links.GetCondition().Where("NOT (auto_gc AND expire_times AND use_count)");
    std::vector<Entry> found;
    int count = -1;
    if (!links.Count(count) || !links.Query(found)) return -1L;
    return count == static_cast<int>(found.size()) ? long{count} : kCountsDiffer;
  });
}

void Worker::ForgetLink(std::size_t index) {
  for (Session& session : sessions_) session.links.erase(links_[index].hash);
  links_.erase(links_.begin() + static_cast<long>(index));
}

void Worker::DeleteLink(std::size_t index) {
  const Link link = links_[index];
  ForgetLink(index);
  const bool deleted = recorder_.Do(Plan(Action::kDelete, link.hash, ""), [&link] {
    return EntryDB(SharingDB::Instance()).Delete(link.id) ? 1 : 0;
  });
  if (!deleted) link_count_known_ = false;
  if (deleted && Draw(3) == 0) LogIn(link.hash, nullptr, kNoLink);
}

void Worker::Delete() {
  if (links_.empty()) return Create();
  DeleteLink(Draw(static_cast<int>(links_.size())));
}

void Worker::Revoke() {
  Link* const link = Pick(links_);
  if (link == nullptr) return Create();
  const bool revoked = recorder_.Do(Plan(Action::kRevoke, link->hash, ""), [link] {
    Entry entry;
    entry.set_id(link->id);
    return TokenDB(SharingDB::Instance()).PurgeByEntry(entry) ? 1 : 0;
  });
  for (Session& session : sessions_) {
    const bool was_in = session.links.erase(link->hash) > 0;
    if (was_in && revoked) CheckSession(link->hash, session.id, kNoToken);
  }
}

void Worker::DropSession(std::size_t index) {
  const std::string id = sessions_[index].id;
  sessions_.erase(sessions_.begin() + static_cast<long>(index));
  recorder_.Do(Plan(Action::kDeleteSession, "", id), [&id] {
    return SessionDB(SharingDB::Instance()).DeleteBySessionId(id) ? 1 : 0;
  });
}

void Worker::DeleteSession() {
  if (sessions_.empty()) return LogInToSharedLink();
  DropSession(Draw(static_cast<int>(sessions_.size())));
}

void Worker::PurgeOwned() {
  const bool purged = recorder_.Do(Plan(Action::kPurgeOwned, "", ""), [this] {
    return EntryDB(SharingDB::Instance()).PurgeExpiredByOwnerProject(owner_, project_)
               ? 1
               : 0;
  });
  if (!purged) link_count_known_ = false;
  for (std::size_t i = links_.size(); i-- > 0;) {
    if (links_[i].limited && links_[i].used) ForgetLink(i);
  }
}

void Worker::PurgeExpired() { recorder_.PurgeExpired(); }

void Worker::Fail() {
  Operation operation = Plan(Action::kFail, "", "");
  operation.expected = 0;
  operation.text = failing_address_;
  recorder_.Do(operation, [this] {
    return AutoBlockFailLoginSet(failing_address_.c_str(), "STORM");
  });
}

void Worker::LogInWithWrongPassword() {
  for (const Link& link : links_) {
    if (!link.password) continue;
    Operation operation = Plan(Action::kWrongPassword, link.hash, "");
    operation.expected = kWrongPassword;
    operation.text = failing_address_;
    recorder_.Do(operation, [&link](Answer& answer) {
      _tag_sharing_login_params params = {};
      params.hash = link.hash.c_str();
      params.password = "wrong";
      answer.code = VEXO::VexoSharingLogin(answer.session, &params, true);
    });
    return;
  }
  Fail();
}

/// Keeps a few rows, so that later faults can damage something while the tables stay
/// small.
void Worker::DeleteMostRows() {
  while (links_.size() > kLeftBehind) DeleteLink(links_.size() - 1);
  while (sessions_.size() > kLeftBehind) DropSession(sessions_.size() - 1);
}

}  // namespace

bool MakeSharedLinks(const std::string& journal, int count) {
  Recorder recorder(journal);
  bool good = recorder.Open();
  for (int i = 0; good && i < count; ++i) {
    Entry link = NewLink("shared", kSharedOwner);
    good = recorder.Create(link).good();
  }
  return good;
}

void PurgeAtTheEnd(const std::string& journal) {
  Recorder recorder(journal);
  if (recorder.Open()) recorder.PurgeExpired();
}

void Work(const std::string& journal, const Place& place,
          const std::vector<std::string>& shared_links, const StopFlag& stop) {
  Worker(journal, place, shared_links).Run(stop);
}

}  // namespace storm
