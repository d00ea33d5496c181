#pragma once

#include <memory>
#include <string>

#include "outcome.h"
#include "sharing_db.h"

namespace command {

using VEXO::sharing::db::BaseDB;
using VEXO::sharing::db::SharingDB;

/// What is added to a database's path for the files that belong to it; "" is itself.
inline constexpr const char* kDatabaseFiles[] = {"", "-wal", "-shm", "-lock"};

/// Whether the caller is root or the system account; told when not.
bool MayUseDatabase();

/// Opens the database for reading and writing.  Null, told, when there is none, when it
/// cannot be used or is not one of links: the outcome is then kNotUsable.
std::unique_ptr<SharingDB> OpenDatabase(const std::string& path);

/// The same, and makes a missing one.
std::unique_ptr<SharingDB> OpenOrMakeDatabase(const std::string& path);

/// Tells the reason of the last failed statement.
Outcome DatabaseFailed(const BaseDB& db);

}  // namespace command
