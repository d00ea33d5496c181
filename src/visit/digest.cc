#include "visit/digest.h"

#include <openssl/sha.h>

#include "base/lazy_library.h"

namespace VEXO::sharing {

namespace {

struct Sha256 {
  static constexpr char kLibrary[] = "libcrypto.so.3";
  decltype(&SHA256) digest;

  void Find(base::LazyLibrary& library) { library.Find("SHA256", &digest); }
};

}  // namespace

std::optional<std::string> Digest(const std::string& text) {
  const auto* const sha256 = base::LoadFunctions<Sha256>();
  if (sha256 == nullptr) return std::nullopt;
  unsigned char bytes[SHA256_DIGEST_LENGTH];
  sha256->digest(reinterpret_cast<const unsigned char*>(text.data()), text.size(), bytes);
  std::string digits;
  for (const unsigned char byte : bytes) {
    digits += "0123456789abcdef"[byte >> 4];
    digits += "0123456789abcdef"[byte & 0xf];
  }
  return digits;
}

}  // namespace VEXO::sharing
