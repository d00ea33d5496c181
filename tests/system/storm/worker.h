#pragma once

#include <string>
#include <vector>

#include "stop_flag.h"

namespace storm {

/// Which worker: one of the places, and how many have been in that place before it.
struct Place {
  int number = 0;
  int generation = 0;
};

/// Opens the database for the first time and makes the links that all workers share.
/// Whether it went well.
bool MakeSharedLinks(const std::string& journal, int count);

/// Purges what has expired, after the storm.
void PurgeAtTheEnd(const std::string& journal);

/// Makes links, logs visitors in and so on, in a random order, until the flag is set or
/// some hundred operations are done.  For a process that has not opened the database yet
/// and that ends by exit(3), which closes it.
void Work(const std::string& journal, const Place& place,
          const std::vector<std::string>& shared_links, const StopFlag& stop);

}  // namespace storm
