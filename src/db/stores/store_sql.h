#pragma once

#include <string>

namespace VEXO::sharing::record {
class Object;
}

namespace VEXO::sharing::db {

class BaseDB;

/// Fills `obj` from the first row that `sql` finds.  False when there is none, with `obj`
/// as it was, or when it is not legal, with `obj` filled.
bool GetFirst(BaseDB& db, const std::string& sql, record::Object& obj);

/// In `probability` of the calls, deletes the rows of `table` whose deadline has passed.
bool PurgePastDeadline(BaseDB& db, const char* table, float probability);

}  // namespace VEXO::sharing::db
