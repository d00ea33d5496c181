#include "links.h"

#include <algorithm>
#include <utility>

#include "interrupt.h"
#include "statements.h"
#include "utils.h"

namespace command {

namespace {

using VEXO::sharing::_tag_SHARING_URL_TYPE;
using VEXO::sharing::db::Result;
using VEXO::sharing::db::Row;

constexpr size_t kBatch = 500;
constexpr size_t kNamed = 10;  // damaged rows that a message names

}  // namespace

LinkReader::LinkReader(BaseDB& db, const std::string& where, const std::string& order,
                       const std::string& limit)
    : db_(db), order_(order) {
  std::string sql = "SELECT id AS n FROM entry";
  if (!where.empty()) sql += " WHERE " + where;
  sql += " ORDER BY " + order;
  if (!limit.empty()) sql += " LIMIT " + limit;
  Result result;
  good_ = db_.Execute(sql, result);
  Row row;
  while (result.NextRow(row)) ids_.push_back(row.GetField("n").AsInt(0));
}

bool LinkReader::Next(Entry& link) {
  while (good_ && !Interrupted()) {
    Row row;
    if (batch_ == nullptr || !batch_->NextRow(row)) {
      if (!FetchBatch()) return false;
      continue;
    }
    ++done_;
    if (link.FromRow(row)) return true;
    damaged_.push_back({link.get_id(), link.get_hash()});
  }
  return false;
}

bool LinkReader::FetchBatch() {
  if (fetched_ == ids_.size()) return false;
  const size_t end = std::min(fetched_ + kBatch, ids_.size());
  std::string sql = "SELECT * FROM entry WHERE id IN (";
  for (size_t i = fetched_; i < end; ++i) {
    if (i > fetched_) sql += ",";
    sql += std::to_string(ids_[i]);
  }
  sql += ") ORDER BY " + order_;
  fetched_ = end;
  batch_ = std::make_unique<Result>();  // a result takes a handle once
  good_ = db_.Execute(sql, *batch_);
  return good_;
}

bool FindLink(BaseDB& db, const std::string& hash, Entry& link, bool& readable,
              Outcome& outcome) {
  Result result;
  if (!db.Execute("SELECT * FROM entry WHERE hash = '" + db.Escape(hash) + "'", result)) {
    outcome = DatabaseFailed(db);
    return false;
  }
  Row row;
  if (!result.NextRow(row)) {
    outcome = End(kRefused, "there is no link " + (hash.empty() ? "\"\"" : hash));
    return false;
  }
  readable = link.FromRow(row);
  return true;
}

bool FindReadableLink(BaseDB& db, const std::string& hash, Entry& link,
                      Outcome& outcome) {
  bool readable = false;
  if (!FindLink(db, hash, link, readable, outcome)) return false;
  if (!readable) {
    outcome = End(kRefused, "the row of " + hash +
                                " does not read: vexosharing check says what to do");
  }
  return readable;
}

void TellDamaged(const std::vector<DamagedLink>& damaged) {
  if (damaged.empty()) return;
  std::string text = damaged.size() == 1
                         ? "1 row does not read:"
                         : std::to_string(damaged.size()) + " rows do not read:";
  for (size_t i = 0; i < std::min(damaged.size(), kNamed); ++i) {
    text += (i == 0 ? " " : ", ") + damaged[i].hash + " (id " +
            std::to_string(damaged[i].id) + ")";
  }
  if (damaged.size() > kNamed) {
    text += ", and " + std::to_string(damaged.size() - kNamed) + " more";
  }
  Tell(text + "; vexosharing check says what to do");
}

Json::Value DamagedJson(const std::vector<DamagedLink>& damaged) {
  Json::Value array(Json::arrayValue);
  for (const DamagedLink& link : damaged) {
    Json::Value element(Json::objectValue);
    element[VEXO::sharing::SZK_ID_] = link.id;
    element[VEXO::sharing::SZK_HASH] = link.hash;
    array.append(std::move(element));
  }
  return array;
}

std::string UsesText(const Entry& link, const char* between) {
  const std::string count = std::to_string(link.get_use_count());
  return link.get_expire_times() == 0
             ? count
             : count + between + std::to_string(link.get_expire_times());
}

bool CountTokens(BaseDB& db, const Entry& link, long& count) {
  return tools::SelectNumber(
      db,
      "SELECT COUNT(*) AS n FROM token WHERE entry_id = " + std::to_string(link.get_id()),
      count);
}

std::string LinkUrl(const std::string& hash) {
  std::string url;
  _tag_SHARING_URL_TYPE type = VEXO::sharing::SHARING_URL_TYPE_UNKNOWN;
  if (VEXO::sharing::GetSharingURL(hash, 0, true, "", "", url, type)) return url;
  Tell("the URL is not known: /usr/vexo/bin/vexosharingurl does not answer");
  return "";
}

}  // namespace command
