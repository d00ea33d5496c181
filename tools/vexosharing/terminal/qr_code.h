#pragma once

#include <string>

namespace command {

/// Draws the text as a QR code on standard output.  False when it is too long for one.
bool DrawQrCode(const std::string& text);

}  // namespace command
