#pragma once

#include <memory>
#include <string>

#include "base_db.h"
#include "keys.h"

namespace VEXO::sharing::db {

class SharingDBPrivate;

/// The database of links, sessions and tokens, brought to the current schema version when
/// it is opened.  It is created with mode 0660 when missing.
class SHARING_EXPORT SharingDB : public BaseDB {
 public:
  /// The process's one handle on SZF_SHARING_DB_PATH, opened by the first call (from any
  /// thread) and closed when the process ends.  A failed opening is not tried again.
  static SharingDB& Instance();

  SharingDB();
  /// The same on another file.
  explicit SharingDB(const std::string& path);
  ~SharingDB() override;

  /// Whether the file is open and its schema current, or newer.  When it is not, every
  /// statement fails.
  bool IsGood() const;

 private:
  std::unique_ptr<SharingDBPrivate> d_;
};

}  // namespace VEXO::sharing::db
