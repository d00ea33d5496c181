#pragma once

#include <limits>
#include <string>

#include "database.h"
#include "methods.h"
#include "paging.h"

namespace webapi {

/// A table whose rows belong to visitors and have a deadline: sessions or tokens.
struct VisitorTable {
  std::string name;     // of the table, and of one row in an answer
  std::string columns;  // to be read; a session's secret is not among them
  bool (*read)(const VEXO::sharing::db::Row& row, Json::Value& view);
  bool has_tokens;  // a session is deleted with its tokens
};

/// Reads what both tables have, the row id and the deadline, and whether it lies ahead.
/// False when the deadline is no number.
bool ReadDeadline(const VEXO::sharing::db::Row& row, Json::Value& view);

/// The rows that match the SQL condition, which may be empty, by page.
Answer ListRows(const VisitorTable& table, const std::string& condition,
                Parameters& parameters);
/// The row whose id the call names.
Answer GetRow(const VisitorTable& table, Parameters& parameters);
/// Deletes the row whose id the call names, a session with its tokens.
Answer DeleteRow(const VisitorTable& table, Parameters& parameters);
/// Rows in all, and those whose deadline lies ahead.
Answer CountRows(const VisitorTable& table, const Parameters& parameters);

/// Deletes the rows of the store whose deadline has passed.
template <class Store>
Answer PurgeRows(const Parameters& parameters) {
  Failure failure;
  VEXO::sharing::db::SharingDB* const database = OpenDatabase(parameters, failure);
  if (database == nullptr) return failure;
  Store rows(*database);
  return rows.PurgeExpired(kAlways) ? PurgeAnswer(*database)
                                    : StatementFailure(*database);
}

/// Row ids are positive numbers of the type int.
constexpr long kLargestId = std::numeric_limits<int>::max();

}  // namespace webapi
