#pragma once

#include <string>

#include "answer.h"
#include "parameters.h"
#include "sharing_db.h"

namespace webapi {

/// The system's database, for a call whose parameters are right.  Null, with the failure,
/// when they are not, and when there is no database or it cannot be used.
VEXO::sharing::db::SharingDB* OpenDatabase(const Parameters& parameters,
                                           Failure& failure);
/// The same, but a missing database is made.
VEXO::sharing::db::SharingDB* OpenOrMakeDatabase(const Parameters& parameters,
                                                 Failure& failure);

/// The failure for a statement that the database refused.
Failure StatementFailure(const VEXO::sharing::db::BaseDB& database);

/// The probability with which a purge that was asked for is run.
inline constexpr float kAlways = 1.0F;

/// Runs a DELETE, and tells how many rows went.
bool DeleteRows(VEXO::sharing::db::BaseDB& database, const std::string& sql, long& count);

/// The answer of a purge that has just run: how many rows went.
Answer PurgeAnswer(VEXO::sharing::db::BaseDB& database);

}  // namespace webapi
