#pragma once

#include <json/forwards.h>

#include <optional>
#include <string>

namespace web {

/// What a link shares, as its application object says: {"path": "/srv/photos"}, and
/// "hidden": true to show names with a leading dot.  Its "announce" is for
/// sharing_visit.h.
struct Share {
  std::string path;  ///< absolute; a file or a folder
  bool hidden = false;
};

/// Reads the application object of a link.  Nothing when it is not an object with an
/// absolute path.
std::optional<Share> ReadShare(const Json::Value& app);

/// The last component of the path; "files" when there is none that can name a download.
std::string NameOfShare(const Share& share);

}  // namespace web
