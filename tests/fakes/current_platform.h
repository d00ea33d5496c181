#pragma once

#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "fake_platform.h"

namespace fakes {

/// The running test's platform, or null outside a test.
Platform* PlatformOrNull();
/// As above; ends the program when there is none.
Platform& CurrentPlatform();

/// Deletes the fake databases without a connection and empties the tables of the others.
void ResetDatabases();
/// Paths of the databases that have connections.
std::vector<std::string> ConnectedDatabases();

inline void Print(std::ostream& out, const char* text) { out << (text ? text : "null"); }
inline void Print(std::ostream& out, const std::string& text) { out << text; }
inline void Print(std::ostream& out, long number) { out << number; }

/// Text of a call: `function(argument, argument)`.
template <class... Arguments>
std::string CallText(const char* function, const Arguments&... arguments) {
  std::ostringstream text;
  [[maybe_unused]] const char* separator = "";
  text << function << '(';
  ((text << separator, Print(text, arguments), separator = ", "), ...);
  text << ')';
  return text.str();
}

}  // namespace fakes
