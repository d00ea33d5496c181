#pragma once

#include <memory>

#include "admin/database_access.h"
#include "admin/link_admin.h"
#include "admin/link_json.h"
#include "parameters.h"

namespace webapi {

/// One call: its parameters, and the system's database once it is open.
class Call {
 public:
  Parameters parameters;

  /// Opens the database.  An error when the parameters read so far are wrong, or when it
  /// cannot be used.
  Error Open(admin::Access access);

  admin::BaseDB& database() { return access_.database(); }
  admin::LinkAdmin& links() { return *links_; }
  admin::LinkUrls& urls() { return urls_; }

 private:
  admin::DatabaseAccess access_;
  std::unique_ptr<admin::LinkAdmin> links_;
  admin::LinkUrls urls_;
};

}  // namespace webapi
