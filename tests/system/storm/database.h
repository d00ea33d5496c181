#pragma once

#include <string>
#include <vector>

#include "faults.h"

namespace storm {

struct LinkRow {
  int id = 0;
  std::string hash;
  unsigned int owner = 0;
  long uses = 0;
  std::string title;
};

struct SessionRow {
  int id = 0;
  std::string session_id;
};

struct TokenRow {
  int link = 0;  // row ids
  int session = 0;
};

/// The tables, read with SQLite and without the library.
struct Tables {
  std::vector<LinkRow> links;
  std::vector<SessionRow> sessions;
  std::vector<TokenRow> tokens;
  std::string integrity;  // "ok", or the first lines of the complaint
};

/// Reads all tables.  False if one cannot be read.  Adds unreadable tables and failed
/// integrity checks to `faults`.
bool ReadTables(const std::string& path, Tables& tables, Faults& faults);

}  // namespace storm
