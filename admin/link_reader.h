#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base_db.h"
#include "entry.h"
#include "result.h"

namespace admin {

using VEXO::sharing::db::BaseDB;
using VEXO::sharing::record::Entry;

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
  bool FetchBatch();

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
