#pragma once

#include <optional>
#include <string>
#include <vector>

#include "parameters.h"
#include "site.h"

namespace web {

/// What the target of a request addresses: a link, and something inside what it shares.
struct LinkAddress {
  std::string hash;     ///< decoded; empty when the target is not that of a link
  std::string before;   ///< the path before the hash
  std::string segment;  ///< the hash as it is in the path
  /// The names after the hash, decoded.  "HASH/a/b" and "HASH/a/b/" have "a" and "b".
  std::vector<std::string> names;
  bool slash = false;  ///< whether the path ends with a slash
  bool reachable =
      true;           ///< false for names that no file has, and for more than kMaxDepth
  std::string last;   ///< the last segment of the path as it is in the path
  std::string query;  ///< the query as it was sent
  Parameters parameters;  ///< of the query
};

/// Parses REQUEST_URI, each part of which is decoded once.  Nothing for a broken escape
/// or a NUL byte anywhere, and for too many parameters.
std::optional<LinkAddress> ParseTarget(const std::string& target, const Site& site);

}  // namespace web
