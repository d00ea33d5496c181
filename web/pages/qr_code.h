#pragma once

#include <string>

namespace web {

/// A QR code as a drawing: squares of one unit.
struct QrCode {
  int width = 0;     ///< units, the margin included; 0 when the text is too long
  std::string path;  ///< of the dark squares, in the form of SVG
};

QrCode DrawQrCode(const std::string& text);

}  // namespace web
