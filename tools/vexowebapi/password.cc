#include "password.h"

#include <sys/random.h>

#include <cerrno>
#include <cstring>

namespace webapi {

namespace {

constexpr char kAlphabet[] = "abcdefghijkmnpqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ23456789";
constexpr unsigned int kAlphabetSize = sizeof kAlphabet - 1;
constexpr std::size_t kLength = 20;

// Bytes from here on are drawn again: they would favour the first characters.
constexpr unsigned int kFirstBiasedByte = 256 - 256 % kAlphabetSize;

bool DrawByte(unsigned char& byte) {
  ssize_t got = -1;
  do {
    got = getrandom(&byte, 1, 0);
  } while (got == -1 && errno == EINTR);
  return got == 1;
}

}  // namespace

Password::~Password() { explicit_bzero(text_.data(), text_.size()); }

bool Password::Draw() {
  text_.reserve(kLength);  // so that no copy is left behind by growing
  while (text_.size() < kLength) {
    unsigned char byte = 0;
    if (!DrawByte(byte)) {
      text_.clear();
      return false;
    }
    if (byte < kFirstBiasedByte) {
      text_ += kAlphabet[byte % kAlphabetSize];
    }
  }
  return true;
}

}  // namespace webapi
