#pragma once

// jpeglib.h needs what comes before it.
// clang-format off
#include <cstddef>
#include <cstdio>
#include <jpeglib.h>
// clang-format on

namespace thumbnail {

/// Sets up error handling that refuses and writes nothing.
jpeg_error_mgr* RefuseOnErrors(jpeg_error_mgr* errors);

}  // namespace thumbnail
