#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/unique_fd.h"
#include "web/files/body.h"

namespace web {

/// The SHA-256 checksum of a file as sha256sum(1) prints it, "HEX  NAME\n".  The file is
/// read when the body is sent.
class ChecksumBody : public Body {
 public:
  ChecksumBody(VEXO::base::UniqueFd file, std::uint64_t size, std::string name)
      : file_(std::move(file)), size_(size), name_(std::move(name)) {}

  /// Unknown, so that the time until the first byte is not taken for sending.
  std::optional<std::uint64_t> Length() const override { return std::nullopt; }
  bool Send(const Sink& sink) override;

 private:
  VEXO::base::UniqueFd file_;
  std::uint64_t size_;
  std::string name_;
};

/// The line for a file.  Backslashes and line ends in its name are escaped, and the line
/// then begins with a backslash, as sha256sum(1) does.  What else cannot stand in a line
/// of text is shown as DisplayName does.
///
/// @param digits  the checksum
std::string ChecksumLine(const std::string& digits, std::string_view name);

}  // namespace web
