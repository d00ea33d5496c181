#pragma once

#include <json/value.h>

#include <memory>
#include <string>
#include <vector>

#include "database.h"
#include "entry.h"
#include "entry_db.h"
#include "result.h"

namespace command {

using VEXO::sharing::db::EntryDB;
using VEXO::sharing::record::Entry;

/// A row of the table of links that does not read.
struct DamagedLink {
  int id;
  std::string hash;
};

/// Walks links from the database.  Memory holds their row ids and a batch of rows,
/// however many there are.  A link deleted meanwhile is passed over.
class LinkReader {
 public:
  /// `where` is a condition (empty: every link), `order` what to sort by, `limit` what
  /// stands after LIMIT (empty: all); each as SQL from the program itself.
  LinkReader(BaseDB& db, const std::string& where, const std::string& order,
             const std::string& limit = "");

  /// Fills `link` with the next one that reads.  False at the end, after an interrupt,
  /// and when a statement failed.
  bool Next(Entry& link);

  /// False once a statement failed.
  bool good() const { return good_; }
  /// Links to walk, and rows done so far.
  long total() const { return static_cast<long>(ids_.size()); }
  long done() const { return done_; }
  const std::vector<DamagedLink>& damaged() const { return damaged_; }

 private:
  bool FetchBatch();

  BaseDB& db_;
  std::string order_;
  std::vector<int> ids_;
  size_t fetched_ = 0;
  long done_ = 0;
  std::unique_ptr<VEXO::sharing::db::Result> batch_;
  std::vector<DamagedLink> damaged_;
  bool good_ = true;
};

/// The link of that hash, one that does not read included (`readable` false).  False,
/// told, when there is none or the statement failed, with `outcome` set.
bool FindLink(BaseDB& db, const std::string& hash, Entry& link, bool& readable,
              Outcome& outcome);

/// The same for a link that reads; false, told, also for one that does not.
bool FindReadableLink(BaseDB& db, const std::string& hash, Entry& link, Outcome& outcome);

/// Tells how many rows did not read, and names the first ones.
void TellDamaged(const std::vector<DamagedLink>& damaged);
/// The same as an array of objects with id and hash.
Json::Value DamagedJson(const std::vector<DamagedLink>& damaged);

/// "3", or "3 of 10" with " of " between count and limit.
std::string UsesText(const Entry& link, const char* between);

/// Tokens of the link, whether or not they have expired.
bool CountTokens(BaseDB& db, const Entry& link, long& count);

/// The public URL of the link; empty, told, when the tool that knows it does not answer.
std::string LinkUrl(const std::string& hash);

}  // namespace command
