#pragma once

#include <functional>
#include <string>

#include "admin/error.h"
#include "admin/link_settings.h"
#include "admin/queries.h"
#include "entry_db.h"
#include "session_db.h"
#include "token_db.h"

namespace admin {

/// A link that was created or changed, and what is needed to undo that.
struct StoredLink {
  Entry before;  // only of a change
  Entry link;
  bool access_changed = false;
  long revoked = 0;  // tokens
};

/// A link to import.
struct LineLink {
  Entry link;
  /// The link is protected by a password that the import does not hold.  It is disabled
  /// and has a random password.
  bool without_password = false;
};

/// Rows that a purge deleted.
struct PurgeCounts {
  long links = 0;
  long sessions = 0;
  long tokens = 0;
};

struct ImportCounts {
  long imported = 0;
  long skipped = 0;
  long disabled = 0;  // of the imported ones
};

/// An imported link that got a new hash.
struct NewHash {
  std::string from;
  std::string to;
};

/// What a purge deletes.  With neither `owner` nor `every_owner`, links without auto_gc
/// are kept.
struct PurgeScope {
  bool links = true;
  bool sessions = true;
  bool tokens = true;
  bool every_owner = false;
  std::optional<unsigned int> owner;
  std::string project;
};

/// The operations of administrators on links.  Each is one transaction: an error means
/// that nothing was changed.  If `stopped` is not null and returns true before a change,
/// the change is not made, and the error is kInterrupted.  An undo is always made.
class LinkAdmin {
 public:
  explicit LinkAdmin(BaseDB& database, bool (*stopped)() = nullptr);

  /// Fills id and hash.  `readable` is false when the rest could not be read.
  Error Find(const std::string& hash, Entry& link, bool& readable);
  /// Finds a readable link.
  Error Find(const std::string& hash, Entry& link);

  /// Stores a link made by NewLink under a new random hash.
  Error Create(Entry& link);
  /// Deletes a link created just now.  Returns a message with what was done.
  std::string UndoCreate(const Entry& link);

  /// Changes a link; deletes its tokens when its access changed.
  Error Edit(const std::string& hash, const LinkSettings& settings, StoredLink& stored);
  /// Restores the link as it was, with the uses counted since, unless it has been changed
  /// again.  Returns a message with what was done.  Tokens stay deleted.
  std::string UndoEdit(const StoredLink& stored);

  /// Gives the link a new random hash and deletes its tokens.
  Error Rotate(const std::string& hash, StoredLink& stored);

  /// Deletes a link, an unreadable one too; its tokens are deleted with it.
  Error Delete(const std::string& hash, long& revoked) {
    return DeleteTokens(hash, true, revoked);
  }
  /// Deletes the tokens of a link, of an unreadable one too.
  Error Revoke(const std::string& hash, long& revoked) {
    return DeleteTokens(hash, false, revoked);
  }

  /// Stores links read by ParseLinkLine under their hashes.  A link whose hash exists is
  /// skipped, or gets a new one with `new_hash`.  Adds to `counts`.
  Error Import(std::vector<LineLink>& links, bool new_hash, ImportCounts& counts,
               std::vector<NewHash>& renamed);

  /// Gives every link of one user to another.
  Error Transfer(unsigned int from, unsigned int to, long& count);

  /// Deletes expired links, with their tokens, sessions and tokens of the scope.
  /// `begin` is called at the beginning of each of these steps.
  Error Purge(const PurgeScope& scope, PurgeCounts& counts,
              const std::function<void(long step)>& begin = nullptr);

  Error Count(const LinkFilter& filter, long& count);
  /// Tokens of the link that have not expired.
  Error CountLiveTokens(const Entry& link, long& count);

 private:
  /// Runs `change` in a transaction, which is committed unless it returns an error or,
  /// except for an undo, the caller has been stopped.
  Error Run(const std::function<Error()>& change, bool is_undo = false);
  Error DeleteTokens(const std::string& hash, bool with_link, long& revoked);
  /// The error of a statement, unless it was done.
  Error ErrorUnless(bool done) const { return done ? Error{} : DatabaseError(database_); }
  bool Stopped() const { return stopped_ != nullptr && stopped_(); }

  BaseDB& database_;
  bool (*stopped_)();
  // They write when they end, so they outlive every transaction.
  VEXO::sharing::db::EntryDB links_;
  VEXO::sharing::db::SessionDB sessions_;
  VEXO::sharing::db::TokenDB tokens_;
};

}  // namespace admin
