#pragma once

#include <string>

namespace command {

enum class DatabaseContent {
  kLinks,      // made for links, of whatever version
  kNothing,    // no file, or one in which nothing was made yet
  kForeign,    // a database made for something else
  kNone,       // a file that is no database
  kUnreadable  // opening it tells why
};

/// What the file holds.  It is looked at as the system account, to which the files beside
/// a database must belong; where that account may not write, by itself.  Nothing in it is
/// changed.
DatabaseContent ContentOf(const std::string& path);

}  // namespace command
