#pragma once

#include <map>
#include <string>
#include <vector>

#include "base_db.h"
#include "entry.h"
#include "result.h"

// Every SQL text that the administrator's programs need.  Functions return false when the
// statement failed; GetLastError of the database has the reason.

namespace admin {

using VEXO::sharing::db::BaseDB;
using VEXO::sharing::db::Result;
using VEXO::sharing::record::Entry;

// Conditions; an empty one matches every row.
std::string OfLink(const Entry& link);  // tokens of a link
std::string WithId(long id);
std::string Alive(long now);  // sessions or tokens that have not expired
std::string DamagedSession();
std::string DamagedToken();

bool CountRows(BaseDB& database, const std::string& table, const std::string& condition,
               long& count);
/// Reads the rows that match, in the order of their ids, `limit` (0: all) from `offset`.
bool SelectRows(BaseDB& database, const std::string& columns, const std::string& table,
                const std::string& condition, long offset, long limit, Result& result);
/// Deletes the rows that match; `count` is their number.
bool DeleteRows(BaseDB& database, const std::string& table, const std::string& condition,
                long& count);

bool SelectLinkByHash(BaseDB& database, const std::string& hash, Result& result);
/// The column "id" of the links that match; `order` and `limit` are SQL, or empty.
bool SelectLinkIds(BaseDB& database, const std::string& condition,
                   const std::string& order, const std::string& limit, Result& result);
bool SelectLinksByIds(BaseDB& database, const std::vector<int>& ids,
                      const std::string& order, Result& result);
/// Columns "project_name", "state", "links" and "logins", by project and state.
bool CountLinksByState(BaseDB& database, long now, Result& result);
bool SetOwner(BaseDB& database, unsigned int from, unsigned int to, long& count);
/// One row with these values, by column name; reads no table.
bool SelectValues(BaseDB& database, const std::map<std::string, std::string>& columns,
                  Result& result);

/// Rows that the last INSERT, UPDATE or DELETE changed.
bool CountChanges(BaseDB& database, long& count);
/// Tokens whose row in `table` ("entry" or "session") does not exist.
bool CountOrphanTokens(BaseDB& database, const std::string& table, long& count);
bool SelectApplicationId(BaseDB& database, long& application_id);
bool SelectSchemaVersion(BaseDB& database, long& version);
/// Columns "type", "name" and "sql" of every table, index and trigger.
bool SelectSchema(BaseDB& database, Result& result);
/// Column "integrity_check", one row for each fault.
bool CheckIntegrity(BaseDB& database, Result& result);

/// Makes the tables of another database visible as "backup", until it is detached.
bool AttachBackup(BaseDB& database, const std::string& path);
bool DetachBackup(BaseDB& database);
/// Replaces the links by those of the attached database; deletes sessions and tokens.
bool ReplaceLinksByBackup(BaseDB& database);

/// A write transaction: it takes the write lock when it begins, so no other process can
/// change what it has read.  Rolled back on destruction unless committed.
class Transaction {
 public:
  explicit Transaction(BaseDB& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  bool good() const { return open_; }
  /// False when it failed.
  bool Commit();

 private:
  BaseDB& database_;
  bool open_;
};

}  // namespace admin
