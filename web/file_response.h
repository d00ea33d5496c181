#pragma once

#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "response.h"
#include "variables.h"
#include "web/files/conditions.h"
#include "web/files/etag.h"
#include "web/files/shared_tree.h"

namespace web {

/// The conditions in the headers of a request.
RequestConditions ConditionsOf(const Variables& request);

/// The beginning of an answer with the content of a file, which the conditions may have
/// turned into status 304 or 412.
///
/// @param open_link  whether the link needs no login: a browser may then keep the file
Response StartFileResponse(const char* policy, const CurrentFile& file,
                           const RequestConditions& conditions, bool open_link,
                           time_t now);

/// The answer to a GET or HEAD request for the bytes of a file, with conditions and
/// ranges.  Takes the file over.
///
/// @param attachment  save the file instead of showing it, also when it could be shown
/// @param open_link   as for StartFileResponse
Response MakeFileResponse(const Variables& request, Node file, const std::string& name,
                          bool attachment, bool open_link, time_t now);

/// The answer with the SHA-256 checksum of a file, which is computed while it is sent.
Response MakeChecksumResponse(Node file, const std::string& name);

/// The answer with a listing as JSON.
Response MakeJsonResponse(std::string json);

/// The answer with a folder as zip file, or with those of its entries that `only` names.
/// Nothing when zip files cannot be made.
std::optional<Response> MakeZipResponse(std::unique_ptr<SharedTree> tree, Node folder,
                                        const std::string& name,
                                        std::vector<std::string> only);

}  // namespace web
