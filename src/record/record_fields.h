#pragma once

#include <map>
#include <string>
#include <vector>

#include "result.h"

namespace VEXO::sharing::record {

/// The named column of a row; an empty field, and so the reader's default, when the
/// result has no such column.
db::Field ReadField(const db::Row& row, const char* column);

/// Pairs column names and value texts by position.
std::map<std::string, std::string> PairFields(const std::vector<std::string>& columns,
                                              const std::vector<std::string>& values);

}  // namespace VEXO::sharing::record
