#include "visit/digest.h"

#include <openssl/sha.h>

namespace VEXO::sharing {

std::string Digest(const std::string& text) {
  unsigned char bytes[SHA256_DIGEST_LENGTH];
  SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), bytes);
  std::string digits;
  for (const unsigned char byte : bytes) {
    digits += "0123456789abcdef"[byte >> 4];
    digits += "0123456789abcdef"[byte & 0xf];
  }
  return digits;
}

}  // namespace VEXO::sharing
