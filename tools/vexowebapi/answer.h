#pragma once

#include <json/value.h>

#include <functional>
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
  Answer(Json::Value data);  // implicit: a method returns its data
  Answer(Failure failure);   // implicit: or why there is none

  bool success() const { return !failure_; }
  /// One line of JSON in ASCII, whatever bytes a row of the database holds.
  std::string Text() const;

  /// Gives what takes the change back, and says what it did, when nobody gets to see the
  /// answer and so the password or the hash in it.
  void OnLoss(std::function<std::string()> take_back) { take_back_ = take_back; }
  /// Takes the change back, if that is wanted, and says what was done.
  std::string TakeBack() const { return take_back_ ? take_back_() : "the call was run"; }

 private:
  Json::Value data_;
  Failure failure_;
  std::function<std::string()> take_back_;
};

}  // namespace webapi
