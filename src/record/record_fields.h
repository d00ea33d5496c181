#pragma once

#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "db/column_text.h"

namespace VEXO::sharing::record {

/// Reads a column of a row.  A missing column is an empty text, which converts to the
/// default.
inline db::ColumnText ReadField(const db::Row& row, const char* column) {
  return {row, column};
}

/// The values by column name.
std::map<std::string, std::string> PairFields(std::initializer_list<const char*> columns,
                                              std::vector<std::string> values);

}  // namespace VEXO::sharing::record
