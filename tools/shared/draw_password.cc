#include "draw_password.h"

#include <sys/random.h>

namespace tools {

namespace {

constexpr size_t kLength = 20;
constexpr char kAlphabet[] = "23456789abcdefghijkmnpqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ";
constexpr unsigned int kAlphabetSize = sizeof kAlphabet - 1;

// Bytes from here on are drawn again: they would favour the first characters.
constexpr unsigned int kFirstBiasedByte = 256 - 256 % kAlphabetSize;

}  // namespace

bool DrawPassword(std::string& out) {
  out.clear();
  out.reserve(kLength);
  while (out.size() < kLength) {
    unsigned char drawn = 0;
    if (getrandom(&drawn, 1, 0) != 1) {
      out.clear();
      return false;
    }
    if (drawn < kFirstBiasedByte) out.push_back(kAlphabet[drawn % kAlphabetSize]);
  }
  return true;
}

}  // namespace tools
