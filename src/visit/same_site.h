#pragma once

namespace VEXO::sharing {

struct VisitRequest;

/// Whether the browser says that a page of another site sent the form.  Sec-Fetch-Site
/// decides where there is one, then Origin.  A program such as curl sends neither.
bool IsCrossSite(const VisitRequest& request);

}  // namespace VEXO::sharing
