#include "terminal/qr_code.h"

#include <qrencode.h>

#include <iostream>
#include <memory>

#include "terminal/terminal.h"

namespace command {

namespace {

struct FreeCode {
  void operator()(QRcode* code) const { QRcode_free(code); }
};

constexpr int kMargin = 4;  // of light modules, as scanners require

const char kUpperHalf[] = "\xE2\x96\x80";
const char kLowerHalf[] = "\xE2\x96\x84";
const char kFull[] = "\xE2\x96\x88";

}  // namespace

bool DrawQrCode(const std::string& text) {
  const std::unique_ptr<QRcode, FreeCode> code(
      QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_M));
  if (code == nullptr) return false;
  const auto light = [&code](int row, int column) {
    return row < 0 || column < 0 || row >= code->width || column >= code->width ||
           (code->data[row * code->width + column] & 1) == 0;
  };
  // Two rows per line.  Light modules are drawn on a dark background.
  for (int row = -kMargin; row < code->width + kMargin; row += 2) {
    if (HasColours()) std::cout << "\033[97;40m";
    for (int column = -kMargin; column < code->width + kMargin; ++column) {
      const bool upper = light(row, column);
      const bool lower = row + 1 < code->width + kMargin && light(row + 1, column);
      std::cout << (upper ? (lower ? kFull : kUpperHalf) : (lower ? kLowerHalf : " "));
    }
    if (HasColours()) std::cout << "\033[0m";
    std::cout << "\n";
  }
  return true;
}

}  // namespace command
