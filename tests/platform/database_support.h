#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "vexo/db.h"

using std::chrono::steady_clock;

using Database = std::unique_ptr<VEXODB, decltype(&VEXODBClose)>;
using Rows = std::unique_ptr<DBResult_tag, decltype(&VEXODBFreeResult)>;

Database Connect(const std::string& path);
bool Executes(const Database& db, const std::string& sql);
/// The rows of a text that must succeed.
Rows Ask(const Database& db, const std::string& sql);
/// The column "v" of every row.
std::vector<std::string> Values(const Rows& rows);
/// A column of the first row.
std::string FirstField(const Rows& rows, const char* column);
bool InTransaction(const Database& db);

long MillisecondsSince(steady_clock::time_point begin);
