#include "admin/secret.h"

#include <cstring>

#include "base/random_draw.h"

namespace admin {

namespace {

constexpr size_t kGeneratedLength = 20;
constexpr char kAlphabet[] = "23456789abcdefghijkmnpqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ";

}  // namespace

Secret::Secret() { text_.reserve(kMaxLength); }

Secret::~Secret() { explicit_bzero(text_.data(), text_.capacity()); }

bool Secret::Append(char character) {
  if (text_.size() == kMaxLength) return false;
  text_.push_back(character);
  return true;
}

void Secret::RemoveCarriageReturn() {
  if (!text_.empty() && text_.back() == '\r') text_.pop_back();
}

bool Secret::Generate() {
  Clear();
  VEXO::base::RandomDraw draw;
  while (text_.size() < kGeneratedLength) {
    uint64_t index = 0;
    if (!draw.Below(sizeof(kAlphabet) - 1, &index)) {
      Clear();
      return false;
    }
    text_.push_back(kAlphabet[index]);
  }
  return true;
}

}  // namespace admin
