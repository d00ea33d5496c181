#pragma once

#include <json/value.h>

#include <string>

namespace webapi {

// Codes of failures, as docs/webapi.md explains them.
inline constexpr char kBadCall[] = "bad_call";
inline constexpr char kUnknownApi[] = "unknown_api";
inline constexpr char kUnknownVersion[] = "unknown_version";
inline constexpr char kUnknownMethod[] = "unknown_method";
inline constexpr char kUnknownParameter[] = "unknown_parameter";
inline constexpr char kMissingParameter[] = "missing_parameter";
inline constexpr char kBadParameter[] = "bad_parameter";
inline constexpr char kSecretParameter[] = "secret_parameter";
inline constexpr char kNotPermitted[] = "not_permitted";
inline constexpr char kNoSuchObject[] = "no_such_object";
inline constexpr char kUnreadableObject[] = "unreadable_object";
inline constexpr char kNoDatabase[] = "no_database";
inline constexpr char kDatabaseNotUsable[] = "database_not_usable";
inline constexpr char kFailed[] = "failed";

/// Why a call failed; none while the code is empty.
struct Failure {
  std::string code;
  std::string message;

  explicit operator bool() const { return !code.empty(); }
};

/// What a call answers: data, or a failure.
class Answer {
 public:
  Answer(Json::Value data);
  Answer(Failure failure);

  bool success() const { return !failure_; }
  /// One line of JSON in ASCII, whatever bytes a row of the database holds.
  std::string Text() const;

 private:
  Json::Value data_;
  Failure failure_;
};

}  // namespace webapi
