// The operations without the library: what SQLite itself costs.
//
// The statements are prepared once.  Each runs as the system account if the program runs
// as root, as the library's statements do.  Nothing is checked that cannot fail here.

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "backend.h"
#include "rows.h"
#include "sqlite.h"

namespace bench {
namespace {

constexpr uid_t kSystemUid = 1;
constexpr gid_t kSystemGid = 1;
constexpr std::int64_t kNoUser = 4294967295;
constexpr int kBusyTimeout = 10000;  // in milliseconds

void Require(bool done, const char* what) {
  if (done) return;
  std::perror(what);
  std::exit(1);
}

/// Runs as the system account while it exists.
class AsSystem {
 public:
  AsSystem() : root_(geteuid() == 0) {
    if (root_) {
      Require(setresgid(-1, kSystemGid, -1) == 0 && setresuid(-1, kSystemUid, -1) == 0,
              "cannot switch to the system account");
    }
  }
  ~AsSystem() {
    if (root_) {
      // The library makes the last of these calls too, which changes nothing.
      Require(setresuid(-1, 0, -1) == 0 && setresgid(-1, 0, -1) == 0 &&
                  setresuid(-1, 0, -1) == 0,
              "cannot switch to root");
    }
  }
  AsSystem(const AsSystem&) = delete;
  AsSystem& operator=(const AsSystem&) = delete;

 private:
  const bool root_;
};

/// Lets one process at a time write or run a checkpoint: with SQLite 3.7.0 to 3.51.2 a
/// checkpoint after every write damages a database that several processes write to.
class WriterLock {
 public:
  /// @param file  -1 for a process that writes alone
  /// @param wait  F_OFD_SETLKW to wait for the lock, F_OFD_SETLK to do without
  WriterLock(int file, int wait) : file_(file), held_(file == -1 || Set(wait, F_WRLCK)) {}
  ~WriterLock() {
    if (file_ != -1 && held_) Set(F_OFD_SETLK, F_UNLCK);
  }
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

  explicit operator bool() const { return held_; }

 private:
  bool Set(int command, short type) const {
    struct flock lock = {};
    lock.l_type = type;
    return fcntl(file_, command, &lock) == 0;
  }

  const int file_;
  const bool held_;
};

std::string RandomText(const char* pool, std::size_t pool_size, int length) {
  std::vector<unsigned char> bytes(length);
  Require(getrandom(bytes.data(), bytes.size(), 0) == length, "getrandom");
  std::string text;
  for (const unsigned char byte : bytes) text += pool[byte % pool_size];
  return text;
}

struct Link {
  std::int64_t id, enabled, owner, start_at, expire_at, expire_times, use_count, auto_gc;
  std::string hash, project, data;
};

struct Session {
  std::int64_t id, uid, timeout;
  std::string session_id, address;
};

struct Token {
  std::int64_t id, entry_id, session_id, timeout;
};

class Limit : public Backend {
 public:
  explicit Limit(bool writers) : connection_(OpenDatabase()) {
    if (writers) {
      lock_file_ = open((std::string(kLimitDatabase) + "-lock").c_str(),
                        O_RDWR | O_CREAT | O_CLOEXEC, 0660);
      Require(lock_file_ != -1, "cannot create the lock file");
    }
  }

  void Check(const Visit& visit) override {
    Session session = GetSession(visit.session_id);
    const Link link = GetLink(visit.hash);
    Token token = GetToken(session.id, link.id).value();
    const long deadline = NewDeadline();
    session.timeout = deadline;
    Update(session);
    token.timeout = deadline;
    Update(token);
    CloseStore();
    CloseStore();
    CloseStore();
  }

  void LogIn(const Visit& visit) override {
    const Link link = GetLink(visit.hash);
    CountUse(visit);
    CloseStore();
    Session session = {0, kNoUser, NewDeadline(),
                       RandomText(kSessionPool, sizeof(kSessionPool) - 1, kSessionLength),
                       kAddress};
    Insert(session);
    if (GetToken(session.id, link.id)) std::exit(1);  // the session is new
    Write(insert_token_.Bind(link.id, session.id, NewDeadline()));
    Update(session);
    CloseStore();
    CloseStore();
    CloseStore();
  }

  void Create() override {
    const std::string hash = RandomText(kHashPool, sizeof(kHashPool) - 1, kHashLength);
    const std::string data = LinkData("");
    Write(insert_link_.Bind(hash, kProject, kOwner, data));
    CloseStore();
  }

  void Get(const Visit& visit) override {
    GetLink(visit.hash);
    CloseStore();
  }

  void Purge() override {
    Write(purge_.Bind(time(nullptr)));
    CloseStore();
  }

 private:
  static Connection OpenDatabase() {
    const AsSystem system;
    Connection connection = Open(kLimitDatabase);
    sqlite3_busy_timeout(connection.get(), kBusyTimeout);
    Execute(connection.get(),
            "PRAGMA cache_size = 5000; PRAGMA foreign_keys = ON;"
            "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;");
    return connection;
  }

  static long NewDeadline() { return time(nullptr) + kLifetime; }

  Link GetLink(const std::string& hash) {
    const AsSystem system;
    select_link_.Bind(hash);
    if (!select_link_.Step()) std::exit(1);
    Link link;
    link.id = select_link_.Number(0);
    link.hash = select_link_.Text(1);
    link.project = select_link_.Text(2);
    link.enabled = select_link_.Number(3);
    link.owner = select_link_.Number(4);
    link.start_at = select_link_.Number(5);
    link.expire_at = select_link_.Number(6);
    link.expire_times = select_link_.Number(7);
    link.use_count = select_link_.Number(8);
    link.auto_gc = select_link_.Number(9);
    link.data = select_link_.Text(10);
    select_link_.Reset();
    return link;
  }

  Session GetSession(const std::string& session_id) {
    const AsSystem system;
    select_session_.Bind(session_id);
    if (!select_session_.Step()) std::exit(1);
    Session session;
    session.id = select_session_.Number(0);
    session.session_id = select_session_.Text(1);
    session.uid = select_session_.Number(2);
    session.address = select_session_.Text(3);
    session.timeout = select_session_.Number(4);
    select_session_.Reset();
    return session;
  }

  std::optional<Token> GetToken(std::int64_t session, std::int64_t link) {
    const AsSystem system;
    select_token_.Bind(session, link);
    std::optional<Token> token;
    if (select_token_.Step()) {
      token = {select_token_.Number(0), select_token_.Number(1), select_token_.Number(2),
               select_token_.Number(3)};
    }
    select_token_.Reset();
    return token;
  }

  void CountUse(const Visit& visit) {
    const WriterLock lock(lock_file_, F_OFD_SETLKW);
    Run(begin_);
    const Link link = GetLink(visit.hash);
    Run(update_link_.Bind(link.auto_gc, link.data, link.enabled, link.expire_at,
                          link.expire_times, link.hash, link.owner, link.project,
                          link.start_at, link.use_count + 1, link.id));
    Run(commit_);
  }

  void Insert(Session& session) {
    Write(insert_session_.Bind(session.session_id, session.uid, session.address,
                               session.timeout));
    session.id = sqlite3_last_insert_rowid(connection_.get());
  }

  void Update(const Session& session) {
    Write(update_session_.Bind(session.address, session.session_id, session.timeout,
                               session.uid, session.id));
  }

  void Update(const Token& token) {
    Write(update_token_.Bind(token.entry_id, token.session_id, token.timeout, token.id));
  }

  /// Runs a statement that writes, outside of a transaction.
  void Write(Statement& statement) {
    const WriterLock lock(lock_file_, F_OFD_SETLKW);
    Run(statement);
  }

  static void Run(Statement& statement) {
    const AsSystem system;
    statement.Run();
  }

  /// The end of a store: copies the log into the database, unless somebody is in the way.
  void CloseStore() {
    const AsSystem system;
    const WriterLock lock(lock_file_, F_OFD_SETLK);
    if (lock) checkpoint_.Run();
  }

  Connection connection_;
  int lock_file_ = -1;  // open until the program ends

  Statement checkpoint_{connection_.get(), "PRAGMA wal_checkpoint"};
  Statement begin_{connection_.get(), "BEGIN IMMEDIATE"};
  Statement commit_{connection_.get(), "COMMIT"};
  Statement select_link_{connection_.get(), "SELECT * FROM entry WHERE hash = ?"};
  Statement select_session_{connection_.get(),
                            "SELECT * FROM session WHERE session_id = ?"};
  Statement select_token_{connection_.get(),
                          "SELECT * FROM token WHERE session_id = ? AND entry_id = ?"};
  Statement insert_link_{connection_.get(),
                         "INSERT INTO entry VALUES (NULL,?,?,1,?,0,0,0,0,1,?)"};
  Statement insert_session_{connection_.get(),
                            "INSERT INTO session VALUES (NULL,?,?,?,?)"};
  Statement insert_token_{connection_.get(), "INSERT INTO token VALUES (NULL,?,?,?)"};
  Statement update_link_{
      connection_.get(),
      "UPDATE entry SET auto_gc=?,data=?,enabled=?,expire_at=?,expire_times=?,hash=?,"
      "owner_uid=?,project_name=?,start_at=?,use_count=? WHERE id=?"};
  Statement update_session_{
      connection_.get(),
      "UPDATE session SET ip=?,session_id=?,timeout=?,uid=? WHERE id=?"};
  Statement update_token_{
      connection_.get(), "UPDATE token SET entry_id=?,session_id=?,timeout=? WHERE id=?"};
  Statement purge_{
      connection_.get(),
      "DELETE FROM entry WHERE auto_gc = 1 AND  ((expire_at != 0 AND expire_at < ?)"
      " OR (expire_times != 0 AND use_count >= expire_times))"};
};

}  // namespace

std::unique_ptr<Backend> OpenBackend(bool writers) {
  return std::make_unique<Limit>(writers);
}

}  // namespace bench
