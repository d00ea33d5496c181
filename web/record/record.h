#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace web {

/// One line of the access log.  Contains no password, session id or query.
struct LoggedVisit {
  const char* event = nullptr;  ///< of base/access_log.h; null: nothing is recorded
  std::string link;             ///< hash
  std::string path;             ///< within the link
  std::string address;          ///< empty: it is not recorded
  int code = 0;                 ///< result of the library; 0 for none
};

/// The line of the access log, with its end.
///
/// @param status  of the answer
/// @param bytes   of its body that were sent
std::string FormatRecord(const LoggedVisit& visit, time_t now, int status,
                         std::uint64_t bytes);

}  // namespace web
