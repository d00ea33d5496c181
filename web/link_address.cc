#include "link_address.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "base/percent.h"
#include "web/files/shared_tree.h"

namespace web {
namespace {

constexpr size_t kMostParameters = 1000;

/// Whether a file may have this name.
bool IsName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find('/') == std::string::npos;
}

/// The segment as the path of a cookie may contain it.
std::string PlainSegment(std::string_view segment, const std::string& decoded) {
  const bool plain = std::all_of(segment.begin(), segment.end(), [](char c) {
    return c == '%' || VEXO::base::IsUnreserved(c);
  });
  return plain ? std::string(segment) : VEXO::base::PercentEncode(decoded);
}

}  // namespace

std::string LinkAddress::Path() const {
  std::string path;
  for (const std::string& name : names) path += (path.empty() ? "" : "/") + name;
  return slash && !path.empty() ? path + "/" : path;
}

std::optional<LinkAddress> ParseTarget(const std::string& target, const Site& site) {
  const size_t path_end = std::min(target.find('?'), target.size());
  const std::string_view path(target.data(), path_end);
  LinkAddress address;
  if (path_end < target.size()) address.query = target.substr(path_end + 1);
  std::optional<Parameters> parameters =
      Parameters::Parse(address.query, kMostParameters);
  if (!parameters || !DecodePart(path)) return std::nullopt;
  address.parameters = std::move(*parameters);

  const size_t begin = site.LengthBeforeHash(path);
  if (begin == 0) return address;
  address.before = path.substr(0, begin);
  std::string_view rest = path.substr(begin);
  for (bool first = true;; first = false) {
    const size_t end = std::min(rest.find('/'), rest.size());
    const std::string_view segment = rest.substr(0, end);
    const std::string name = *DecodePart(segment);  // the whole path is good
    address.slash = segment.empty() && !first;
    if (first) {
      address.hash = name;
      address.segment = PlainSegment(segment, name);
    } else if (!address.slash || end < rest.size()) {
      address.reachable = address.reachable && IsName(name);
      if (address.names.size() < kMaxDepth) {
        address.names.push_back(name);
      } else {
        address.reachable = false;
      }
    }
    if (!segment.empty()) address.last = segment;
    if (end == rest.size()) return address;
    rest.remove_prefix(end + 1);
  }
}

}  // namespace web
