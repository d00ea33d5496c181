#include <gcrypt.h>
#include <openssl/md5.h>

#include <memory>
#include <new>

#include "base/lazy_library.h"
#include "utils.h"
#include "utils/wipe.h"

namespace VEXO::sharing {

namespace {

constexpr size_t kSha1Length = 20;

struct Gcrypt {
  static constexpr char kLibrary[] = "libgcrypt.so.20";
  decltype(&gcry_control) control;
  decltype(&gcry_md_get_algo_dlen) digest_length;
  decltype(&gcry_md_hash_buffer) hash_buffer;

  void Find(base::LazyLibrary& library) {
    library.Find("gcry_control", &control);
    library.Find("gcry_md_get_algo_dlen", &digest_length);
    library.Find("gcry_md_hash_buffer", &hash_buffer);
  }
};

struct Md5 {
  static constexpr char kLibrary[] = "libcrypto.so.3";
  decltype(&MD5_Init) init;
  decltype(&MD5_Update) update;
  decltype(&MD5_Final) final;

  void Find(base::LazyLibrary& library) {
    library.Find("MD5_Init", &init);
    library.Find("MD5_Update", &update);
    library.Find("MD5_Final", &final);
  }
};

/// Writes each byte as two lower-case hexadecimal digits, and a terminating NUL.
void WriteHex(const unsigned char* bytes, size_t length, char* text) {
  const char kDigits[] = "0123456789abcdef";
  for (size_t i = 0; i < length; ++i) {
    *text++ = kDigits[bytes[i] / 16];
    *text++ = kDigits[bytes[i] % 16];
  }
  *text = '\0';
}

}  // namespace

bool Sha1WithSaltHashPassword(const std::string& password, const std::string& salt,
                              std::string& out) {
  const auto* const gcrypt = base::LoadFunctions<Gcrypt>();
  if (gcrypt == nullptr) return false;
  std::string message;
  // Reserved, so that no copy of the password stays behind when the text grows.
  message.reserve(password.size() + salt.size());
  message.append(password).append(salt);
  const WipeAtEnd wipe_message(message.data(), message.size());

  gcrypt->control(GCRYCTL_DISABLE_SECMEM, 0);
  gcrypt->control(GCRYCTL_INITIALIZATION_FINISHED, 0);
  const size_t length = gcrypt->digest_length(GCRY_MD_SHA1);
  const std::unique_ptr<char[]> text(new (std::nothrow) char[2 * length + 1]);
  if (!text) return false;

  unsigned char digest[kSha1Length];
  const WipeAtEnd wipe_digest(digest, sizeof(digest));
  const WipeAtEnd wipe_text(text.get(), 2 * length + 1);
  gcrypt->hash_buffer(GCRY_MD_SHA1, digest, message.data(), message.size());
  WriteHex(digest, length, text.get());
  out = text.get();
  return true;
}

bool MD5HashPassword(const std::string& password, std::string& out) {
  if (password.empty()) return false;
  const auto* const md5 = base::LoadFunctions<Md5>();
  if (md5 == nullptr) return false;
  MD5_CTX context;
  unsigned char digest[MD5_DIGEST_LENGTH];
  char text[2 * MD5_DIGEST_LENGTH + 1];
  const WipeAtEnd wipe_context(&context, sizeof(context));
  const WipeAtEnd wipe_digest(digest, sizeof(digest));
  const WipeAtEnd wipe_text(text, sizeof(text));
  if (md5->init(&context) < 1 ||
      md5->update(&context, password.data(), password.size()) < 1 ||
      md5->final(digest, &context) < 1) {
    return false;
  }
  WriteHex(digest, sizeof(digest), text);
  out = text;
  return true;
}

}  // namespace VEXO::sharing
