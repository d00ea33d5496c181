#pragma once

#include "link_address.h"
#include "pages/pages.h"
#include "response.h"
#include "variables.h"
#include "web/files/owner.h"
#include "web/files/share.h"

namespace web {

/// Whether the request is a form with files.
bool IsUpload(const Variables& request);

/// The answer to an admitted visitor's request at the root of a link to a drop box: the
/// page with the form, or what becomes of the files in the request.
///
/// @param link  row id, for the log
/// @param page  title and facts of the link
Response MakeDropResponse(const Variables& request, const LinkAddress& address,
                          const Share& share, const Owner& owner, int link,
                          DropPage page);

}  // namespace web
