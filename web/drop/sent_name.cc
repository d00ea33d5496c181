#include "web/drop/sent_name.h"

#include <algorithm>

#include "web/files/display_name.h"

namespace web {
namespace {

constexpr size_t kLongestName = 255;
constexpr size_t kLongestExtension = 16;
const char kNothingLeft[] = "file";

/// The beginning of a text in UTF-8: at most `size` bytes, whole characters only.
std::string Beginning(const std::string& text, size_t size) {
  if (text.size() <= size) return text;
  while (size != 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  return text.substr(0, size);
}

/// The name with `mark` before its extension, shortened where it would be too long.
std::string Mark(const std::string& name, const std::string& mark) {
  const size_t dot = name.rfind('.');
  const bool has_extension =
      dot != std::string::npos && dot != 0 && name.size() - dot <= kLongestExtension;
  const size_t stem = has_extension ? dot : name.size();
  const std::string end = mark + name.substr(stem);
  return Beginning(name.substr(0, stem), kLongestName - end.size()) + end;
}

}  // namespace

std::string CleanFileName(std::string_view sent) {
  sent.remove_prefix(sent.find_last_of("/\\") + 1);  // 0 when there is none
  std::string name = DownloadName(sent);
  // Programs and other systems do not show, or cannot open, names with these ends.
  name.erase(0, std::min(name.find_first_not_of(". "), name.size()));
  name.erase(name.find_last_not_of(". ") + 1);
  return name.empty() ? kNothingLeft : Mark(name, "");
}

std::string NumberedName(const std::string& name, int number) {
  return number == 1 ? name : Mark(name, " (" + std::to_string(number) + ")");
}

}  // namespace web
