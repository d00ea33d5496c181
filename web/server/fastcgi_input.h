#pragma once

#include <fcgiapp.h>
#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

namespace web {

/// Reads the form, at most `limit` bytes and one more.  Nothing when it does not arrive.
std::optional<std::string> ReadInput(FCGX_Stream* input, size_t limit);

/// Reads the bytes that have arrived, as a Source does.
ssize_t ReadSome(FCGX_Stream* input, char* buffer, size_t size);

}  // namespace web
