#pragma once

#include <memory>
#include <string>

#include "base_db.h"
#include "keys.h"

namespace VEXO::sharing::db {

class SharingDBPrivate;

/// The database of links, sessions and tokens.  Opening it creates the file, with mode
/// 0660, when it is missing, and brings its schema to the current version.
class SHARING_EXPORT SharingDB : public BaseDB {
 public:
  /// The process's handle on SZF_SHARING_DB_PATH.  The first call, from any thread, opens
  /// it; it is closed when the process ends.  A failed opening is not tried again.
  static SharingDB& Instance();

  /// Opens SZF_SHARING_DB_PATH.  Use Instance unless a second handle is wanted.
  SharingDB();
  /// Opens another file.  Failures are logged, and IsGood is then false.
  explicit SharingDB(const std::string& path);
  /// Closes the database.
  ~SharingDB() override;

  /// Whether the database is open and its schema is current or newer.  When it is not,
  /// every statement fails.
  bool IsGood() const;

 private:
  std::unique_ptr<SharingDBPrivate> d_;
};

}  // namespace VEXO::sharing::db
