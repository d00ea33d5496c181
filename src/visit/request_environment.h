#pragma once

#include <string>
#include <vector>

namespace VEXO::sharing {

struct VisitRequest;

/// Shows the platform one request while it exists: the environment has the address of the
/// visitor, and no other variable with which a request could be described.  The
/// destructor restores the variables of before.
class RequestEnvironment {
 public:
  explicit RequestEnvironment(const VisitRequest& request);
  RequestEnvironment(const RequestEnvironment&) = delete;
  RequestEnvironment& operator=(const RequestEnvironment&) = delete;
  ~RequestEnvironment();

 private:
  std::string remote_address_;
  std::string forwarded_for_;
  std::vector<char*> hidden_;
};

}  // namespace VEXO::sharing
