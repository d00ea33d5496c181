#pragma once

#include <string>

namespace admin {

// Codes of errors, for programs.  docs/webapi.md explains them.
inline constexpr char kBadParameter[] = "bad_parameter";
inline constexpr char kMissingParameter[] = "missing_parameter";
inline constexpr char kUnknownUser[] = "unknown_user";
inline constexpr char kNoSuchObject[] = "no_such_object";
inline constexpr char kUnreadableObject[] = "unreadable_object";
inline constexpr char kNotPermitted[] = "not_permitted";
inline constexpr char kNoDatabase[] = "no_database";
inline constexpr char kDatabaseNotUsable[] = "database_not_usable";
inline constexpr char kInterrupted[] = "interrupted";
inline constexpr char kFailed[] = "failed";

/// Why an operation failed.  An empty code means no error.
struct Error {
  std::string code;
  std::string message;
  std::string hint = {};  // what to do about it; may be empty

  explicit operator bool() const { return !code.empty(); }
  /// Message and hint in one line.
  std::string Text() const { return hint.empty() ? message : message + "; " + hint; }
};

}  // namespace admin
