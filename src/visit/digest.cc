#include "visit/digest.h"

#include <openssl/sha.h>

#include "base/lazy_library.h"
#include "base/text.h"

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
  return base::HexText(bytes, sizeof(bytes));
}

}  // namespace VEXO::sharing
