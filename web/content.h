#pragma once

#include <optional>
#include <string>

#include "sharing_visit.h"
#include "web/files/owner.h"
#include "web/files/share.h"
#include "web/link_address.h"
#include "web/response.h"
#include "web/settings.h"
#include "web/variables.h"

namespace web {

/// What a link shares, and as whom.
struct SharedByLink {
  Share share;
  Owner owner;
};

/// Finds what the link of an answer, if it has one, shares.  Returns the answer where the
/// link is not usable: it names no path, or its owner's account is gone.
std::optional<Response> FindShared(const VEXO::sharing::VisitAnswer& answer,
                                   SharedByLink* shared);

/// Answers an admitted visitor's request for something that the link shares.
/// @param url  of the link
Response AnswerContent(const Variables& request, const LinkAddress& address,
                       const std::string& url, const VEXO::sharing::VisitAnswer& answer,
                       const SharedByLink& shared, const Settings& settings);

}  // namespace web
