#pragma once

#include <ctime>
#include <string>
#include <vector>

namespace web {

/// The text to store beside files that were sent: who says to have sent them, when, their
/// names, and what the visitor wrote.
std::string SentNote(const std::string& from, const std::string& note,
                     const std::vector<std::string>& names, time_t time);

}  // namespace web
