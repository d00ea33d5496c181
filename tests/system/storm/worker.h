#pragma once

#include <string>
#include <vector>

#include "stop_flag.h"

namespace storm {

/// Identifies a worker: its place, and how many workers had that place before it.
struct Place {
  int number = 0;
  int generation = 0;
};

/// Creates the database and the links that all workers share.  False if a step failed.
bool MakeSharedLinks(const std::string& journal, int count);

/// Purges expired rows after the stress test.
void PurgeAtTheEnd(const std::string& journal);

/// Performs random operations until the flag is set or a few hundred are done.  Call it
/// in a new process that has not opened the database and that ends by exit(3), which
/// closes the database.
void Work(const std::string& journal, const Place& place,
          const std::vector<std::string>& shared_links, const StopFlag& stop);

}  // namespace storm
