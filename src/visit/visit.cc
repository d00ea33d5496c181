#include "base/wipe.h"
#include "sharing_visit.h"
#include "visit/decision.h"
#include "visit/request_environment.h"

namespace VEXO::sharing {
namespace {

const char kFolder[] = "/usr/vexo/etc/private/visit";

}  // namespace

VisitRequest::~VisitRequest() {
  base::Wipe(&session_id);
  base::Wipe(&password);
}

VisitAnswer::~VisitAnswer() { base::Wipe(&set_cookie); }

VisitAnswer Visit(const VisitRequest& request) {
  const RequestEnvironment environment(request);
  return Decide(request, kFolder);
}

}  // namespace VEXO::sharing
