#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "admin/error.h"
#include "base_db.h"
#include "entry.h"
#include "result.h"

// Every SQL text that the administrator's programs need.  Functions return false when the
// statement failed; DatabaseError has the reason.

namespace admin {

using VEXO::sharing::db::BaseDB;
using VEXO::sharing::db::Result;
using VEXO::sharing::record::Entry;

/// Whether a visitor can log in.  When several states apply, it is the first in the order
/// in which the login checks: disabled, not started, expired, use limit reached.
/// The numbers are those of VexoSharingLinkState.
enum class LinkState { kUsable, kNotStarted, kExpired, kUsedUp, kDisabled };

inline constexpr LinkState kLinkStates[] = {LinkState::kUsable, LinkState::kNotStarted,
                                            LinkState::kExpired, LinkState::kUsedUp,
                                            LinkState::kDisabled};

LinkState StateOf(const Entry& link, long now);

/// For programs: "usable", "not_started", "expired", "used_up" or "disabled".
const char* StateName(LinkState state);

/// The name of a row's state, as an SQL expression on the columns of the table of links.
std::string StateSql(long now);

/// Selects links.  A member that is not set matches every link.
struct LinkFilter {
  std::string hash;
  std::string project;
  std::optional<unsigned int> owner;
  std::string state;   // name of a LinkState
  std::string search;  // in title, application data and note; the case of ASCII letters
                       // is ignored

  bool empty() const {
    return hash.empty() && project.empty() && !owner && state.empty() && search.empty();
  }
  /// The filter as an SQL condition; empty when nothing is set.
  std::string Sql(const BaseDB& database, long now) const;
};

// Conditions; an empty one matches every row.
inline constexpr char kDamagedSession[] =
    "typeof(session_id) != 'text' OR session_id = '' OR typeof(uid) != 'integer' "
    "OR typeof(ip) != 'text' OR ip = '' OR typeof(timeout) != 'integer'";
inline constexpr char kDamagedToken[] =
    "typeof(entry_id) != 'integer' OR typeof(session_id) != 'integer' "
    "OR typeof(timeout) != 'integer'";
inline std::string WithId(long id) { return "id = " + std::to_string(id); }
/// Tokens of a link.
inline std::string OfLink(const Entry& link) {
  return "entry_id = " + std::to_string(link.get_id());
}
/// Tokens whose row in `table` is gone.
std::string Orphaned(const std::string& table);
/// Sessions or tokens that have not expired.
inline std::string Alive(long now) { return "timeout > " + std::to_string(now); }

/// The error for a statement that the database refused.
Error DatabaseError(const BaseDB& database);

// Queries.
inline constexpr char kSelectSchema[] = "SELECT type, name, sql FROM sqlite_master";
inline constexpr char kDetachBackup[] = "DETACH backup";
inline constexpr char kCheckIntegrity[] = "PRAGMA integrity_check";  // a row per fault

bool CountRows(BaseDB& database, const std::string& table, const std::string& condition,
               long& count);
/// Reads the rows that match, in the order of their ids, `limit` (0: all) from `offset`.
bool SelectRows(BaseDB& database, const std::string& columns, const std::string& table,
                const std::string& condition, long offset, long limit, Result& result);
/// Deletes the rows that match; `count` is their number.
bool DeleteRows(BaseDB& database, const std::string& table, const std::string& condition,
                long& count);

bool SelectLinkByHash(BaseDB& database, const std::string& hash, Result& result);
/// Columns "project_name", "state", "links" and "logins", by project and state.
bool CountLinksByState(BaseDB& database, long now, Result& result);
bool SetOwner(BaseDB& database, unsigned int from, unsigned int to, long& count);
/// One row with these values, by column name; reads no table.
bool SelectValues(BaseDB& database, const std::map<std::string, std::string>& columns,
                  Result& result);

/// Rows that the last INSERT, UPDATE or DELETE changed.
bool CountChanges(BaseDB& database, long& count);
/// The value of a pragma that is a number.
bool SelectPragma(BaseDB& database, const std::string& name, long& value);

/// Makes the tables of another database visible as "backup", until kDetachBackup is run.
bool AttachBackup(BaseDB& database, const std::string& path);
/// Replaces the links by those of the attached database; deletes sessions and tokens.
bool ReplaceLinksByBackup(BaseDB& database);

/// A write transaction: it takes the write lock when it begins, so no other process can
/// change what it has read.  Rolled back on destruction unless committed.
class Transaction {
 public:
  explicit Transaction(BaseDB& database)
      : database_(database), open_(database.Execute("BEGIN IMMEDIATE")) {}
  ~Transaction() {
    if (open_) database_.Execute("ROLLBACK");
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  bool good() const { return open_; }
  /// False when it failed.  It is rolled back on destruction: until then its reason can
  /// be read.
  bool Commit() {
    open_ = !database_.Execute("COMMIT");
    return !open_;
  }

 private:
  BaseDB& database_;
  bool open_;
};

/// Id and hash of a row of the table of links that cannot be read.
struct UnreadableLink {
  int id;
  std::string hash;
};

/// Reads links from the database.  Only their row ids and one batch of rows are held in
/// memory.  A link deleted meanwhile is skipped.
class LinkReader {
 public:
  /// `condition` (empty: every link), `order` and `limit` (empty: all) are SQL from the
  /// program itself.
  LinkReader(BaseDB& database, const std::string& condition, const std::string& order,
             const std::string& limit = "");

  /// Fills `link` with the next readable one.  False at the end, and when a statement
  /// failed.
  bool Next(Entry& link);

  /// False once a statement failed.
  bool good() const { return good_; }
  /// Links to read, and rows done so far.
  long total() const { return static_cast<long>(ids_.size()); }
  long done() const { return done_; }
  const std::vector<UnreadableLink>& unreadable() const { return unreadable_; }

 private:
  BaseDB& database_;
  std::string order_;
  std::vector<int> ids_;
  size_t fetched_ = 0;
  long done_ = 0;
  std::unique_ptr<VEXO::sharing::db::Result> batch_;
  std::vector<UnreadableLink> unreadable_;
  bool good_ = true;
};

}  // namespace admin
