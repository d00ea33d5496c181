#pragma once

#include <json/value.h>

#include <functional>
#include <string>
#include <utility>

#include "admin/error.h"

namespace webapi {

using admin::Error;

// Codes of errors in the call itself; admin/error.h has those of the operations.
inline constexpr char kBadCall[] = "bad_call";
inline constexpr char kUnknownApi[] = "unknown_api";
inline constexpr char kUnknownVersion[] = "unknown_version";
inline constexpr char kUnknownMethod[] = "unknown_method";
inline constexpr char kUnknownParameter[] = "unknown_parameter";
inline constexpr char kSecretParameter[] = "secret_parameter";

/// The response to a call: data, or an error.
class Response {
 public:
  Response(Json::Value data) : data_(std::move(data)) {}  // implicit: methods return data
  Response(Error error) : error_(std::move(error)) {}     // implicit: or an error

  bool success() const { return !error_; }
  /// One line of JSON in ASCII, whatever bytes a row of the database holds.
  std::string Text() const;

  /// Sets the function that undoes the call if the response, and with it the only copy of
  /// a password or hash, is lost.  It returns a message with what it did.
  void OnLoss(std::function<std::string()> undo) { undo_ = std::move(undo); }
  /// Undoes the call if that is needed.  Returns a message with what was done.
  std::string Undo() const;

 private:
  Json::Value data_;
  Error error_;
  std::function<std::string()> undo_;
};

}  // namespace webapi
