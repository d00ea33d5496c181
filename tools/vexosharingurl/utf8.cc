#include "utf8.h"

namespace {

constexpr unsigned int kLastCodePoint = 0x10ffff;

/// Number of bytes that follow `first`, or -1 when no character begins with it.
int FollowingBytes(unsigned int first) {
  if (first < 0x80) {
    return 0;
  }
  if (first < 0xc0) {
    return -1;
  }
  return first < 0xe0 ? 1 : first < 0xf0 ? 2 : first < 0xf8 ? 3 : -1;
}

bool IsCharacter(unsigned int code, int following) {
  const unsigned int smallest[] = {0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xd800 && code <= 0xdfff;
  return code >= smallest[following] && code <= kLastCodePoint && !surrogate;
}

}  // namespace

bool IsUtf8(const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const unsigned int first = static_cast<unsigned char>(text[i]);
    const int following = FollowingBytes(first);
    if (following < 0 || text.size() - i <= static_cast<std::size_t>(following)) {
      return false;
    }
    unsigned int code = following == 0 ? first : first & (0x3fU >> following);
    for (int k = 0; k < following; ++k) {
      const unsigned int byte = static_cast<unsigned char>(text[++i]);
      if ((byte & 0xc0) != 0x80) {
        return false;
      }
      code = code << 6 | (byte & 0x3f);
    }
    if (!IsCharacter(code, following)) {
      return false;
    }
  }
  return true;
}
