#pragma once

#include <memory>

#include "rows.h"

namespace bench {

/// What is measured, once with the library and once without it.  The operations are those
/// of the library, with the same statements, transactions and checkpoints.  A failure
/// ends the program.
class Backend {
 public:
  Backend() = default;
  virtual ~Backend() = default;
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;

  /// Checks a request of a visitor.
  virtual void Check(const Visit& visit) = 0;
  /// Logs in a new visitor to the link of this one.
  virtual void LogIn(const Visit& visit) = 0;
  /// Stores a new link.
  virtual void Create() = 0;
  /// Finds a link by its hash.
  virtual void Get(const Visit& visit) = 0;
  /// Deletes all links that have expired.
  virtual void Purge() = 0;
};

/// Opens the database.
///
/// @param writers  whether other processes write to it at the same time
std::unique_ptr<Backend> OpenBackend(bool writers);

}  // namespace bench
