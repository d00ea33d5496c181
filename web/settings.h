#pragma once

#include <string>

namespace web {

/// What the administrator can set in /usr/vexo/etc/web.conf.
struct Settings {
  /// Language of the pages for visitors whose browser accepts none of the available
  /// languages.
  std::string language = "en";
  /// Processes that answer requests in a FastCGI server.
  int workers = 4;
  /// Bodies that one worker sends at the same time.
  int downloads = 64;
};

/// Reads the configuration file `path`.  A wrong line is logged and ignored; of several
/// valid lines with one key the last applies.  A missing file means the defaults, and so
/// does, with a line in the log, one that cannot be read.
Settings ReadSettings(const std::string& path);

}  // namespace web
