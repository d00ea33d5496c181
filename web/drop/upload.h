#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "web/drop/drop_folder.h"
#include "web/files/body.h"

namespace web {

/// Parts that one form may have.
inline constexpr int kMostParts = 512;

enum class UploadResult {
  kReceived,
  kNoFile,       ///< the form has no file
  kTooLarge,     ///< more bytes than the folder may hold
  kTooMany,      ///< more files than the folder may hold, or than kMostParts
  kTextTooLong,  ///< a field that is not a file is too long
  kIncomplete,   ///< the body is malformed, has no end, or arrives too slowly
  kNoSpace,      ///< the disk is full, or the quota of the account is used up
  kFailed,       ///< logged
};

/// Receives a form with the files `file`, and the texts `from` and `note`, which become a
/// text file beside the files.  Each file is complete and on the disk before it has a
/// name, and no other file is replaced: a name that is taken gets a number.  All files of
/// the form are kept, or none.
///
/// @param boundary  of the form, as BoundaryOf returns it
/// @param length    of the body, as the visitor's program announced it
/// @param[out] files  number of files that were received, without the text file
/// @param timeout  time in which at least 64 KiB must arrive
UploadResult ReceiveUpload(const DropFolder& folder, const std::string& boundary,
                           std::uint64_t length, const Source& read, int* files,
                           std::chrono::milliseconds timeout = std::chrono::minutes(1));

}  // namespace web
