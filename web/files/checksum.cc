#include "web/files/checksum.h"

#include <openssl/evp.h>
#include <openssl/sha.h>

#include <memory>

#include "base/lazy_library.h"
#include "base/text.h"
#include "web/files/display_name.h"

namespace web {

namespace {

struct Crypto {
  static constexpr char kLibrary[] = "libcrypto.so.3";
  decltype(&EVP_MD_CTX_new) new_context;
  decltype(&EVP_MD_CTX_free) free_context;
  decltype(&EVP_sha256) sha256;
  decltype(&EVP_DigestInit_ex) init;
  decltype(&EVP_DigestUpdate) update;
  decltype(&EVP_DigestFinal_ex) final;

  void Find(VEXO::base::LazyLibrary& library) {
    library.Find("EVP_MD_CTX_new", &new_context);
    library.Find("EVP_MD_CTX_free", &free_context);
    library.Find("EVP_sha256", &sha256);
    library.Find("EVP_DigestInit_ex", &init);
    library.Find("EVP_DigestUpdate", &update);
    library.Find("EVP_DigestFinal_ex", &final);
  }
};

}  // namespace

bool ChecksumBody::Send(const Sink& sink) {
  const auto* const crypto = VEXO::base::LoadFunctions<Crypto>();
  if (crypto == nullptr) return false;
  const std::unique_ptr<EVP_MD_CTX, decltype(crypto->free_context)> context(
      crypto->new_context(), crypto->free_context);
  if (!context || crypto->init(context.get(), crypto->sha256(), nullptr) != 1) {
    return false;
  }
  const Sink update = [&](std::string_view piece) {
    // Nothing is written for a long time, which would fail when the visitor has left.
    return sink({}) && crypto->update(context.get(), piece.data(), piece.size()) == 1;
  };
  unsigned char digest[SHA256_DIGEST_LENGTH];
  if (!SendBytes(file_.get(), 0, size_, update) ||
      crypto->final(context.get(), digest, nullptr) != 1) {
    return false;
  }
  return sink(ChecksumLine(VEXO::base::HexText(digest, sizeof(digest)), name_));
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
