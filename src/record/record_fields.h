#pragma once

#include <map>
#include <string>
#include <vector>

#include "result.h"

namespace VEXO::sharing::record {

/// Reads a column of a row.  A missing column is an empty field, which converts to the
/// default.
db::Field ReadField(const db::Row& row, const char* column);

/// The values by column name.
std::map<std::string, std::string> PairFields(const std::vector<std::string>& columns,
                                              const std::vector<std::string>& values);

}  // namespace VEXO::sharing::record
