#pragma once

#include <string>

namespace fakes {

/// Runs SQL in the database file `path`.  First column of the first row, read with SQLite
/// and not with the library; the error message when that fails.
std::string SqlValue(const std::string& path, const std::string& sql);

}  // namespace fakes
