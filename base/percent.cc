#include "base/percent.h"

#include <charconv>

namespace VEXO::base {

bool IsUnreserved(char c) {
  constexpr std::string_view kUnreserved =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~";
  return kUnreserved.find(c) != std::string_view::npos;
}

std::string PercentEncode(std::string_view text, std::string_view also_plain) {
  constexpr char kHexDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const bool plain = IsUnreserved(c) || also_plain.find(c) != std::string_view::npos;
    const unsigned int byte = static_cast<unsigned char>(c);
    encoded += plain ? std::string{c}
                     : std::string{'%', kHexDigits[byte >> 4], kHexDigits[byte & 15]};
  }
  return encoded;
}

std::optional<char> PercentDecodeAt(std::string_view text, size_t position) {
  const std::string_view escape = text.substr(position, 3);
  if (escape.size() < 3 || escape[0] != '%') return std::nullopt;
  unsigned char byte = 0;
  const char* const end = escape.data() + escape.size();
  const auto [stop, error] = std::from_chars(escape.data() + 1, end, byte, 16);
  if (error != std::errc() || stop != end) return std::nullopt;
  return static_cast<char>(byte);
}

}  // namespace VEXO::base
