#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "admin/database_access.h"
#include "admin/link_admin.h"
#include "admin/link_json.h"
#include "parameters.h"

namespace webapi {

/// One call: its parameters, and the system's database once it is open.
struct Call {
  Parameters parameters;
  admin::LinkUrls urls;
  admin::DatabaseAccess access;
  std::unique_ptr<admin::LinkAdmin> links;

  /// Opens the database.  An error when the parameters, which have all been read, are
  /// wrong, or when it cannot be used.
  Error Open(admin::Access wanted);
  admin::BaseDB& database() { return access.database(); }
};

/// The response to a call: data, or an error.
struct Response {
  // Implicit: a method returns the one or the other.
  Response(Json::Value value) : data(std::move(value)) {}
  Response(Error failure) : error(std::move(failure)) {}

  /// One line of JSON in ASCII, whatever bytes a row of the database holds.
  std::string Text() const;

  Json::Value data;
  Error error;
  /// Undoes the call if the response, and with it the only copy of a password or hash, is
  /// lost.  Returns a message with what was done.
  std::function<std::string()> undo = [] { return "the call was run"; };
};

/// The methods of an API by name.
using Methods = std::map<std::string, Response (*)(Call& call)>;
Methods LinkMethods();
Methods SessionMethods();
Methods TokenMethods();

/// Which rows a list returns.
struct Page {
  /// Reads offset and limit; the defaults are 0 and 100.
  explicit Page(Parameters& parameters);
  /// {"offset": N, "limit": N, "total": N, "items": [], "unreadable": []}
  Json::Value ToJson(long total) const;

  long offset;
  long limit;
};

}  // namespace webapi
