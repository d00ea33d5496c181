#include "admin/link_reader.h"

#include <algorithm>

#include "admin/queries.h"

namespace admin {

namespace {

using VEXO::sharing::db::Row;

constexpr size_t kBatch = 500;

}  // namespace

LinkReader::LinkReader(BaseDB& database, const std::string& condition,
                       const std::string& order, const std::string& limit)
    : database_(database), order_(order) {
  Result result;
  good_ = SelectLinkIds(database_, condition, order, limit, result);
  Row row;
  while (result.NextRow(row)) ids_.push_back(row.GetField("id").AsInt(0));
}

bool LinkReader::Next(Entry& link) {
  while (good_) {
    Row row;
    if (batch_ == nullptr || !batch_->NextRow(row)) {
      if (!FetchBatch()) return false;
      continue;
    }
    ++done_;
    if (link.FromRow(row)) return true;
    unreadable_.push_back(
        {row.GetField("id").AsInt(0), row.GetField("hash").AsString("")});
  }
  return false;
}

bool LinkReader::FetchBatch() {
  if (fetched_ == ids_.size()) return false;
  const size_t end = std::min(fetched_ + kBatch, ids_.size());
  const auto begin = ids_.begin();
  const std::vector<int> batch(begin + static_cast<long>(fetched_),
                               begin + static_cast<long>(end));
  fetched_ = end;
  batch_ = std::make_unique<Result>();  // a result takes a handle once
  good_ = SelectLinksByIds(database_, batch, order_, *batch_);
  return good_;
}

}  // namespace admin
