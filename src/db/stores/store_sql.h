#pragma once

#include <string>

namespace VEXO::sharing::record {
class Object;
}

namespace VEXO::sharing::db {

class BaseDB;

/// Reads a record from the first row of a query.
///
/// @param[out] obj  the record; unchanged when there is no row
/// @return false when there is no row, the statement failed, or the record is not legal
bool GetFirst(BaseDB& db, const std::string& sql, record::Object& obj);

/// Deletes the expired rows of `table`, in the share `probability` of the calls.
bool PurgePastDeadline(BaseDB& db, const char* table, float probability);

}  // namespace VEXO::sharing::db
