#pragma once

#include <string>
#include <vector>

namespace VEXO::sharing {

struct VisitRequest;

/// While it exists, the environment describes one request to the platform: it has the
/// address of the visitor, and no other variable that describes a request.  The
/// destructor restores the previous variables.
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
