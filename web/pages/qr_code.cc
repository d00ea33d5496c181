#include "qr_code.h"

#include <qrencode.h>

#include <memory>

namespace web {
namespace {

constexpr int kMargin = 4;  // as scanners require

}  // namespace

QrCode DrawQrCode(const std::string& text) {
  QrCode drawing;
  const std::unique_ptr<QRcode, void (*)(QRcode*)> code(
      QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_M), QRcode_free);
  if (code == nullptr) return drawing;
  drawing.width = code->width + 2 * kMargin;
  const auto dark = [&code](int row, int column) {
    return (code->data[row * code->width + column] & 1) != 0;
  };
  for (int row = 0; row < code->width; ++row) {
    for (int begin = 0, end = 0; begin < code->width; begin = end + 1) {
      end = begin;
      while (end < code->width && dark(row, end)) ++end;
      if (end == begin) continue;
      const std::string length = std::to_string(end - begin);
      drawing.path.append("M").append(std::to_string(begin + kMargin));
      drawing.path.append(" ").append(std::to_string(row + kMargin));
      drawing.path.append("h").append(length).append("v1h-").append(length).append("z");
    }
  }
  return drawing;
}

}  // namespace web
