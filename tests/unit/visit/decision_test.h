#pragma once

#include <gmock/gmock.h>

#include <string>

#include "sharing_visit.h"
#include "sql_value.h"
#include "temp_dir.h"
#include "visit/decision.h"
#include "visitor_test.h"

namespace VEXO::sharing {

/// A visitor of the link "hash" of the project "project".
class DecisionTest : public VisitorTest {
 protected:
  DecisionTest() {
    platform_.ids = {1, 1, 1, 1};
    request_.project = "project";
    request_.hash = "hash";
    request_.cookie_name = "sharing";
    request_.cookie_path = "/sharing/hash";
  }

  VisitAnswer Ask(const std::string& method) {
    request_.method = method;
    return Decide(request_, folder_.Path("."));
  }
  VisitAnswer Get() { return Ask("GET"); }
  VisitAnswer Post(const std::string& action = "") {
    request_.action = action;
    return Ask("POST");
  }
  VisitAnswer LogIn(const std::string& password) {
    request_.password = password;
    return Post();
  }

  /// Stores the link and a session that has logged in to it.
  void StoreVisitedLink(const record::Entry& entry) {
    StoreLink(entry);
    AddSession(platform_, 7, "sid");
    AddToken(platform_, 3, 1, 7);
    request_.session_id = "sid";
  }

  void BlockAddress() {
    platform_.denied_ips = {platform_.remote_ip};
    platform_.blocked_until[platform_.remote_ip] = time(nullptr) + 1000;
  }

  std::string Attempts() {
    return fakes::SqlValue(folder_.Path("visit.db"), "SELECT COUNT(*) FROM attempt");
  }

  fakes::TempDir folder_;
  VisitRequest request_;
};

inline record::Entry LimitedEntry(int limit, int uses = 0) {
  record::Entry entry = OpenEntry();
  entry.set_expire_times(limit);
  entry.set_use_count(uses);
  return entry;
}

}  // namespace VEXO::sharing
