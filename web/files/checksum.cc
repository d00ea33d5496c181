#include "web/files/checksum.h"

#include <openssl/evp.h>
#include <openssl/sha.h>

#include <memory>

#include "web/files/display_name.h"

namespace web {

bool ChecksumBody::Send(const Sink& sink) {
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                        &EVP_MD_CTX_free);
  if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1) {
    return false;
  }
  const Sink update = [&context](std::string_view piece) {
    return EVP_DigestUpdate(context.get(), piece.data(), piece.size()) == 1;
  };
  unsigned char digest[SHA256_DIGEST_LENGTH];
  if (!SendBytes(file_.get(), 0, size_, update) ||
      EVP_DigestFinal_ex(context.get(), digest, nullptr) != 1) {
    return false;
  }
  std::string digits;
  for (const unsigned char byte : digest) {
    digits += "0123456789abcdef"[byte >> 4];
    digits += "0123456789abcdef"[byte & 0xf];
  }
  return sink(ChecksumLine(digits, name_));
}

std::string ChecksumLine(const std::string& digits, std::string_view name) {
  std::string escaped;
  for (const char c : name) {
    switch (c) {
      case '\\':
        escaped += "\\\\";
        break;
      case '\n':
        escaped += "\\n";
        break;
      case '\r':
        escaped += "\\r";
        break;
      default:
        escaped += c;
    }
  }
  const std::string mark = escaped.size() == name.size() ? "" : "\\";
  return mark + digits + "  " + DisplayName(escaped) + "\n";
}

}  // namespace web
