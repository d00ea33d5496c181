#pragma once

#include <json/forwards.h>

#include <cstdint>
#include <optional>
#include <string>

namespace web {

/// What a folder may hold that visitors send files to.
struct DropLimits {
  std::uint64_t bytes = UINT64_MAX;
  std::uint64_t files = UINT64_MAX;
};

/// What a link shares, as its application object says: {"path": "/srv/photos"}, and
/// "hidden": true to show names with a leading dot.  With "drop": true visitors send
/// files to the folder instead, at most "max_bytes" and "max_files".  Its "announce" is
/// for sharing_visit.h.
struct Share {
  std::string path;  ///< absolute; a file or a folder
  bool hidden = false;
  std::optional<DropLimits> drop = std::nullopt;  ///< nothing for a share that is read
};

/// Reads the application object of a link.  Nothing when it is not an object with an
/// absolute path, or when "drop" or a limit is not valid: it must not show a folder that
/// was meant for sending.
std::optional<Share> ReadShare(const Json::Value& app);

/// The last component of the path; "files" when there is none that can name a download.
std::string NameOfShare(const Share& share);

}  // namespace web
