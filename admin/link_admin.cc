#include "admin/link_admin.h"

#include <algorithm>
#include <climits>
#include <ctime>
#include <map>

#include "admin/access.h"
#include "keys.h"

namespace admin {

namespace {

using VEXO::sharing::UID_ERR;
using VEXO::sharing::db::Row;

constexpr float kAlways = 1.0F;  // probability of a purge

std::map<std::string, std::string> Settings(const Entry& link) {
  std::map<std::string, std::string> columns = link.GetFieldMap();
  columns.erase(VEXO::sharing::SZK_USE_COUNT);
  return columns;
}

}  // namespace

LinkAdmin::LinkAdmin(BaseDB& database, bool (*stopped)())
    : database_(database),
      stopped_(stopped),
      links_(database),
      sessions_(database),
      tokens_(database) {}

/// Runs `change` in a transaction, which is committed unless it returns an error or,
/// except for an undo, the caller has been stopped.
template <class Change>
Error LinkAdmin::Run(Change change, bool is_undo) {
  Transaction transaction(database_);
  Error error = transaction.good() ? Error{} : Failed();
  if (!error) error = change();
  if (!is_undo && Stopped()) {  // may be the reason for the failure
    return {kInterrupted, "interrupted: nothing was changed", ""};
  }
  if (error) return error;
  return transaction.Commit() ? Error{} : Failed();
}

Error LinkAdmin::Find(const std::string& hash, Entry& link, bool& readable) {
  Result result;
  if (!SelectLinkByHash(database_, hash, result)) return Failed();
  Row row;
  if (!result.NextRow(row))
    return {kNoSuchObject, "link not found: " + (hash.empty() ? "\"\"" : hash), ""};
  readable = link.FromRow(row);
  link.set_id(row.GetField("id").AsInt(0));
  link.set_hash(hash);
  return {};
}

Error LinkAdmin::Find(const std::string& hash, Entry& link) {
  bool readable = false;
  if (Error error = Find(hash, link, readable)) return error;
  if (readable) return {};
  return {kUnreadableObject, "unreadable row: link " + hash, "run vexosharing check"};
}

Error LinkAdmin::Create(Entry& link) {
  return Run([&] { return links_.CreateWithHash(link) ? Error{} : Failed(); });
}

std::string LinkAdmin::UndoCreate(const Entry& link) {
  return links_.Delete(link) ? "the link was deleted"
                             : "the link " + link.get_hash() +
                                   " could not be deleted: delete it yourself";
}

Error LinkAdmin::Edit(const std::string& hash, const LinkSettings& settings,
                      StoredLink& stored) {
  return Run([&]() -> Error {
    if (Error error = Find(hash, stored.link)) return error;
    stored.before = stored.link;
    if (Error error = ApplySettings(settings, stored.link)) return error;
    stored.access_changed = AccessChanged(stored.before, stored.link);
    const bool done =
        links_.Update(stored.link) &&
        (!stored.access_changed ||
         DeleteRows(database_, "token", OfLink(stored.link), stored.revoked));
    return done ? Error{} : Failed();
  });
}

std::string LinkAdmin::UndoEdit(const StoredLink& stored) {
  const auto restore = [&]() -> Error {
    Entry link;
    if (Error found = Find(stored.link.get_hash(), link)) return found;
    if (Settings(link) != Settings(stored.link)) {
      return {kFailed, "the link has been changed again", ""};
    }
    const long uses = long{stored.before.get_use_count()} + link.get_use_count() -
                      stored.link.get_use_count();
    link = stored.before;
    link.set_use_count(static_cast<int>(std::min<long>(uses, INT_MAX)));
    return links_.Update(link) ? Error{} : Failed();
  };
  return Run(restore, true) ? "the change of link " + stored.link.get_hash() +
                                  " could not be undone: set a new password"
                            : "the change was undone; tokens stay revoked";
}

Error LinkAdmin::Rotate(const std::string& hash, StoredLink& stored) {
  return Run([&]() -> Error {
    if (Error error = Find(hash, stored.link)) return error;
    stored.before = stored.link;
    // The store tries random hashes until one is free, so a copy is made and the original
    // deleted, with its tokens.
    const bool done =
        CountRows(database_, "token", OfLink(stored.before), stored.revoked) &&
        links_.CreateWithHash(stored.link) && links_.Delete(stored.before);
    return done ? Error{} : Failed();
  });
}

Error LinkAdmin::Delete(const std::string& hash, long& revoked) {
  return Run([&]() -> Error {
    Entry link;
    bool readable = false;
    if (Error error = Find(hash, link, readable)) return error;
    const bool done =
        CountRows(database_, "token", OfLink(link), revoked) && links_.Delete(link);
    return done ? Error{} : Failed();
  });
}

Error LinkAdmin::Revoke(const std::string& hash, long& revoked) {
  return Run([&]() -> Error {
    Entry link;
    bool readable = false;
    if (Error error = Find(hash, link, readable)) return error;
    return DeleteRows(database_, "token", OfLink(link), revoked) ? Error{} : Failed();
  });
}

Error LinkAdmin::Import(std::vector<LineLink>& links, bool new_hash, ImportCounts& counts,
                        std::vector<NewHash>& renamed) {
  ImportCounts sum = counts;
  std::vector<NewHash> fresh;
  Error error = Run([&] {
    for (auto& [link, without_password] : links) {
      const std::string hash = link.get_hash();
      Result result;
      Row row;
      if (!SelectLinkByHash(database_, hash, result)) return Failed();
      const bool taken = result.NextRow(row);
      if (taken && !new_hash) {
        ++sum.skipped;
        continue;
      }
      if (!(taken ? links_.CreateWithHash(link) : links_.Create(link))) return Failed();
      if (taken) fresh.push_back({hash, link.get_hash()});
      ++sum.imported;
      if (without_password) ++sum.disabled;
    }
    return Error{};
  });
  if (error) return error;
  counts = sum;
  renamed.insert(renamed.end(), fresh.begin(), fresh.end());
  return {};
}

Error LinkAdmin::Transfer(unsigned int from, unsigned int to, long& count) {
  return Run([&] { return SetOwner(database_, from, to, count) ? Error{} : Failed(); });
}

/// Counts the tokens that are gone after `work`, by their own deadline or with what they
/// belonged to.
template <class Work>
Error LinkAdmin::PurgeRows(PurgeCounts& counts, Work work) {
  return Run([&] {
    long before = 0;
    long after = 0;
    const bool done = CountRows(database_, "token", "", before) && work() &&
                      CountRows(database_, "token", "", after);
    counts.tokens = before - after;
    return done ? Error{} : Failed();
  });
}

Error LinkAdmin::Purge(const PurgeScope& scope, PurgeCounts& counts,
                       const std::function<void(long step)>& begin) {
  const bool named = scope.every_owner || scope.owner;
  if (!scope.project.empty() && !named) {
    return {kMissingParameter, "purging one project requires an owner or all owners", ""};
  }
  const auto show = [&begin](long step) {
    if (begin) begin(step);
  };
  return PurgeRows(counts, [&] {
    show(1);
    if (!(named ? links_.PurgeExpiredByOwnerProject(scope.owner.value_or(UID_ERR),
                                                    scope.project)
                : links_.PurgeExpired(kAlways)) ||
        !CountChanges(database_, counts.links)) {
      return false;
    }
    if (scope.links_only || Stopped()) return true;
    show(2);
    if (!sessions_.PurgeExpired(kAlways) || !CountChanges(database_, counts.sessions)) {
      return false;
    }
    if (Stopped()) return true;
    show(3);
    return tokens_.PurgeExpired(kAlways);
  });
}

Error LinkAdmin::PurgeSessions(PurgeCounts& counts) {
  return PurgeRows(counts, [&] {
    return sessions_.PurgeExpired(kAlways) && CountChanges(database_, counts.sessions);
  });
}

Error LinkAdmin::PurgeTokens(PurgeCounts& counts) {
  return PurgeRows(counts, [&] { return tokens_.PurgeExpired(kAlways); });
}

Error LinkAdmin::Count(const LinkFilter& filter, long& count) {
  const std::string condition = filter.Sql(database_, time(nullptr));
  return CountRows(database_, "entry", condition, count) ? Error{} : Failed();
}

Error LinkAdmin::CountLiveTokens(const Entry& link, long& count) {
  const std::string condition = OfLink(link) + " AND " + Alive(time(nullptr));
  return CountRows(database_, "token", condition, count) ? Error{} : Failed();
}

}  // namespace admin
