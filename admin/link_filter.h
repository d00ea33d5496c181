#pragma once

#include <optional>
#include <string>

#include "admin/link_state.h"
#include "base_db.h"

namespace admin {

/// Selects links.  A member that is not set matches every link.
struct LinkFilter {
  std::string hash;
  std::string project;
  std::optional<unsigned int> owner;
  std::string state;   // name of a LinkState
  std::string search;  // in title, application data and note; the case of ASCII letters
                       // is ignored

  bool empty() const {
    return hash.empty() && project.empty() && !owner && state.empty() && search.empty();
  }
  /// The filter as an SQL condition; empty when nothing is set.
  std::string Sql(const VEXO::sharing::db::BaseDB& database, long now) const;
};

}  // namespace admin
