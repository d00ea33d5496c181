#include "utils/json_scanner.h"

#include <charconv>

#include "utils/json_escape.h"

namespace VEXO::sharing {

namespace {

constexpr int kMaxDepth = 50;
constexpr size_t kMaxDigits = 18;  // any such integer fits in 64 bits

size_t CountDigits(std::string_view text) {
  size_t count = 0;
  while (count < text.size() && text[count] >= '0' && text[count] <= '9') ++count;
  return count;
}

/// Whether the first `count` digits are a number that has no leading zeros and is short
/// enough for 64 bits.
bool IsCanonical(std::string_view digits, size_t count) {
  return count == 1 || (count > 1 && count <= kMaxDigits && digits.front() != '0');
}

}  // namespace

bool JsonScanner::Read(bool& value) {
  value = Skip("true");
  return value || Skip("false");
}

bool JsonScanner::Read(unsigned int& value) {
  const size_t count = CountDigits(rest_);
  if (!IsCanonical(rest_, count) ||
      std::from_chars(rest_.data(), rest_.data() + count, value).ec != std::errc()) {
    return false;
  }
  rest_.remove_prefix(count);
  return true;
}

bool JsonScanner::Read(std::string& value) {
  value.clear();
  return ReadString(&value);
}

bool JsonScanner::ReadObject(std::string_view& object) {
  const std::string_view before = rest_;
  if (!SkipObject(kMaxDepth)) return false;
  object = before.substr(0, before.size() - rest_.size());
  return true;
}

/// Reads a string, and appends it to `value` unless that is null.
bool JsonScanner::ReadString(std::string* value) {
  if (!Skip("\"")) return false;
  while (true) {
    const size_t plain = CountPlainInJson(rest_);
    if (value != nullptr) value->append(rest_, 0, plain);
    rest_.remove_prefix(plain);
    if (Skip("\"")) return true;
    char byte = 0;
    if (!TakeJsonEscape(rest_, byte)) return false;
    if (value != nullptr) value->push_back(byte);
  }
}

/// Reads the name of a member and the colon; a name with an escape sequence is refused,
/// because names are compared as they are written.
bool JsonScanner::ReadName(std::string_view& name) {
  if (!Skip("\"")) return false;
  name = rest_.substr(0, CountPlainInJson(rest_));
  rest_.remove_prefix(name.size());
  return Skip("\":");
}

bool JsonScanner::SkipValue(int depth) {
  if (depth == 0 || rest_.empty()) return false;
  switch (rest_.front()) {
    case '{':
      return SkipObject(depth);
    case '[':
      return SkipArray(depth);
    case '"':
      return ReadString(nullptr);
    case 't':
      return Skip("true");
    case 'f':
      return Skip("false");
    case 'n':
      return Skip("null");
    default:
      return SkipInteger();
  }
}

bool JsonScanner::SkipObject(int depth) {
  if (!Skip("{")) return false;
  if (Skip("}")) return true;
  std::string_view previous;
  bool first = true;
  do {
    std::string_view name;
    if (!ReadName(name) || (!first && name <= previous) || !SkipValue(depth - 1)) {
      return false;
    }
    previous = name;
    first = false;
  } while (Skip(","));
  return Skip("}");
}

bool JsonScanner::SkipArray(int depth) {
  if (!Skip("[")) return false;
  if (Skip("]")) return true;
  do {
    if (!SkipValue(depth - 1)) return false;
  } while (Skip(","));
  return Skip("]");
}

bool JsonScanner::SkipInteger() {
  const bool negative = Skip("-");
  const size_t count = CountDigits(rest_);
  if (!IsCanonical(rest_, count) || (negative && rest_.front() == '0')) return false;
  rest_.remove_prefix(count);
  return true;
}

}  // namespace VEXO::sharing
