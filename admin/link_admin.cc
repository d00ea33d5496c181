#include "admin/link_admin.h"

#include <algorithm>
#include <climits>
#include <ctime>
#include <map>
#include <tuple>
#include <utility>

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

/// What decides who is admitted, so that earlier logins must not count after a change.
/// The order of names and ids does not matter.
auto Admission(const Entry& link) {
  const auto sorted = [](auto list) {
    std::sort(list.begin(), list.end());
    return list;
  };
  return std::make_tuple(
      link.get_enabled(), link.get_protect_type(), link.get_protect_password(),
      sorted(link.get_protect_uids()), sorted(link.get_protect_users()),
      sorted(link.get_protect_gids()), sorted(link.get_protect_groups()));
}

}  // namespace

LinkAdmin::LinkAdmin(BaseDB& database, bool (*stopped)())
    : database_(database),
      stopped_(stopped),
      links_(database),
      sessions_(database),
      tokens_(database) {}

Error LinkAdmin::Run(const std::function<Error()>& change, bool is_undo) {
  Transaction transaction(database_);
  Error error = ErrorUnless(transaction.good());
  if (!error) error = change();
  if (!is_undo && Stopped()) {  // may be the reason for the failure
    return {kInterrupted, "interrupted: nothing was changed"};
  }
  return error ? error : ErrorUnless(transaction.Commit());
}

Error LinkAdmin::Find(const std::string& hash, Entry& link, bool& readable) {
  Result result;
  if (!SelectLinkByHash(database_, hash, result)) return DatabaseError(database_);
  Row row;
  if (!result.NextRow(row)) {
    return {kNoSuchObject, "link not found: " + (hash.empty() ? "\"\"" : hash)};
  }
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
  return Run([&] { return ErrorUnless(links_.CreateWithHash(link)); });
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
    stored.access_changed = Admission(stored.before) != Admission(stored.link);
    return ErrorUnless(
        links_.Update(stored.link) &&
        (!stored.access_changed ||
         DeleteRows(database_, "token", OfLink(stored.link), stored.revoked)));
  });
}

std::string LinkAdmin::UndoEdit(const StoredLink& stored) {
  const auto restore = [&]() -> Error {
    Entry link;
    if (Error found = Find(stored.link.get_hash(), link)) return found;
    if (Settings(link) != Settings(stored.link)) {
      return {kFailed, "the link has been changed again"};
    }
    const long uses = long{stored.before.get_use_count()} + link.get_use_count() -
                      stored.link.get_use_count();
    link = stored.before;
    link.set_use_count(static_cast<int>(std::min<long>(uses, INT_MAX)));
    return ErrorUnless(links_.Update(link));
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
    return ErrorUnless(
        CountRows(database_, "token", OfLink(stored.before), stored.revoked) &&
        links_.CreateWithHash(stored.link) && links_.Delete(stored.before));
  });
}

Error LinkAdmin::DeleteTokens(const std::string& hash, bool with_link, long& revoked) {
  return Run([&]() -> Error {
    Entry link;
    bool readable = false;
    if (Error error = Find(hash, link, readable)) return error;
    return ErrorUnless(DeleteRows(database_, "token", OfLink(link), revoked) &&
                       (!with_link || links_.Delete(link)));
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
      if (!SelectLinkByHash(database_, hash, result)) return DatabaseError(database_);
      const bool taken = result.NextRow(row);
      if (taken && !new_hash) {
        ++sum.skipped;
        continue;
      }
      if (!(taken ? links_.CreateWithHash(link) : links_.Create(link))) {
        return DatabaseError(database_);
      }
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
  return Run([&] { return ErrorUnless(SetOwner(database_, from, to, count)); });
}

Error LinkAdmin::Purge(const PurgeScope& scope, PurgeCounts& counts,
                       const std::function<void(long step)>& begin) {
  const bool named = scope.every_owner || scope.owner;
  if (!scope.project.empty() && !named) {
    return {kMissingParameter, "purging one project requires an owner or all owners"};
  }
  const auto purge_links = [&] {
    const unsigned int owner = scope.owner.value_or(UID_ERR);
    return (named ? links_.PurgeExpiredByOwnerProject(owner, scope.project)
                  : links_.PurgeExpired(kAlways)) &&
           CountChanges(database_, counts.links);
  };
  const auto purge_sessions = [&] {
    return sessions_.PurgeExpired(kAlways) && CountChanges(database_, counts.sessions);
  };
  const std::pair<bool, std::function<bool()>> steps[] = {
      {scope.links, purge_links},
      {scope.sessions, purge_sessions},
      {scope.tokens, [&] { return tokens_.PurgeExpired(kAlways); }}};
  return Run([&] {
    // Tokens go by their own deadline, or with what they belonged to.
    long before = 0;
    long after = 0;
    long step = 0;
    bool done = CountRows(database_, "token", "", before);
    for (const auto& [wanted, purge] : steps) {
      if (!done || !wanted || Stopped()) continue;
      if (begin) begin(++step);
      done = purge();
    }
    done = done && CountRows(database_, "token", "", after);
    counts.tokens = before - after;
    return ErrorUnless(done);
  });
}

Error LinkAdmin::Count(const LinkFilter& filter, long& count) {
  return ErrorUnless(
      CountRows(database_, "entry", filter.Sql(database_, time(nullptr)), count));
}

Error LinkAdmin::CountLiveTokens(const Entry& link, long& count) {
  const std::string condition = OfLink(link) + " AND " + Alive(time(nullptr));
  return ErrorUnless(CountRows(database_, "token", condition, count));
}

}  // namespace admin
