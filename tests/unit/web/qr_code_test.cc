#include "web/pages/qr_code.h"

#include <gtest/gtest.h>
#include <qrencode.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

using web::DrawQrCode;
using web::QrCode;

TEST(QrCode, Drawing_HasTheDarkSquaresOfTheCodeAndAMargin) {
  const std::string text = "https://files.example.org/sharing/0123456789";
  const QrCode drawing = DrawQrCode(text);
  const std::unique_ptr<QRcode, void (*)(QRcode*)> code(
      QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_M), QRcode_free);
  ASSERT_EQ(drawing.width, code->width + 8);

  std::vector<bool> dark(code->width * code->width);
  const char* at = drawing.path.c_str();
  int column = 0;
  int row = 0;
  int length = 0;
  int back = 0;
  int used = 0;
  while (sscanf(at, "M%d %dh%dv1h-%dz%n", &column, &row, &length, &back, &used) == 4) {
    EXPECT_EQ(length, back);
    for (int i = 0; i < length; ++i)
      dark[(row - 4) * code->width + column - 4 + i] = true;
    at += used;
  }
  EXPECT_STREQ(at, "");
  for (int i = 0; i < code->width * code->width; ++i) {
    ASSERT_EQ(dark[i], (code->data[i] & 1) != 0) << i;
  }
}

TEST(QrCode, TextThatIsTooLong_HasNone) {
  EXPECT_EQ(DrawQrCode(std::string(5000, 'x')).width, 0);
  EXPECT_EQ(DrawQrCode("").width, 0);
}

}  // namespace
