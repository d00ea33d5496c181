#pragma once

namespace VEXO::sharing::db {

class SharingDB;

/// Brings the schema of a sharing database up to date.
class SharingDBPrivate {
 public:
  /// Upgrades the schema of `owner`, which owns this object.
  explicit SharingDBPrivate(SharingDB* owner);

  bool migrated() const { return migrated_; }

 private:
  /// Runs the schema files from the stored version to the current one.
  bool Migration();
  /// Runs one schema file, which sets the version itself.
  bool MigrateTo(int version);

  SharingDB* owner_;
  bool migrated_;
};

}  // namespace VEXO::sharing::db
