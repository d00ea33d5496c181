#pragma once

#include <cstdint>
#include <string>

namespace web {

/// How much of the address of a visitor the access log has.
enum class AddressInLog { kNetwork, kFull, kNone };

/// What the administrator can set in /usr/vexo/etc/web.conf.
struct Settings {
  /// Language of the pages for visitors whose browser accepts none of the available
  /// languages.
  std::string language = "en";
  /// Processes that answer requests in a FastCGI server.
  int workers = 4;
  /// Bodies that one worker sends at the same time.
  int downloads = 64;
  AddressInLog address_in_log = AddressInLog::kNetwork;
  /// Bytes that the thumbnails of pictures may have on the disk together.
  std::uint64_t thumbnail_bytes = 256 << 20;
};

/// Reads the configuration file `path`.  A wrong line is logged and ignored; of several
/// valid lines with one key the last applies.  A missing file means the defaults, and so
/// does, with a line in the log, one that cannot be read.
Settings ReadSettings(const std::string& path);

}  // namespace web
