#include "terminal/qr_code.h"

#include <qrencode.h>

#include <iostream>
#include <memory>

#include "terminal/terminal.h"

namespace command {

bool DrawQrCode(const std::string& text) {
  const std::unique_ptr<QRcode, void (*)(QRcode*)> code(
      QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_M), QRcode_free);
  if (code == nullptr) return false;
  // Two rows per line, by block characters.  Light modules are drawn on a dark
  // background.
  const char* const blocks[2][2] = {{" ", "\u2584"}, {"\u2580", "\u2588"}};
  constexpr int kMargin = 4;  // of light modules, as scanners require
  const int end = code->width + kMargin;
  const auto light = [&code](int row, int column) {
    return row < 0 || column < 0 || row >= code->width || column >= code->width ||
           (code->data[row * code->width + column] & 1) == 0;
  };
  for (int row = -kMargin; row < end; row += 2) {
    if (HasColours()) std::cout << "\033[97;40m";
    for (int column = -kMargin; column < end; ++column) {
      const bool lower = row + 1 < end && light(row + 1, column);
      std::cout << blocks[light(row, column)][lower];
    }
    if (HasColours()) std::cout << "\033[0m";
    std::cout << "\n";
  }
  return true;
}

}  // namespace command
