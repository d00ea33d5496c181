#pragma once

#include <locale.h>

#include <string>
#include <string_view>

namespace web {

/// Finds names that contain a text, letters of all languages without regard to case.
class NameSearch {
 public:
  /// An empty text is in every name.
  explicit NameSearch(std::string_view text);
  NameSearch(const NameSearch&) = delete;
  NameSearch& operator=(const NameSearch&) = delete;
  ~NameSearch();

  bool Finds(std::string_view name) const;

 private:
  std::string Fold(std::string_view text) const;
  char32_t Lower(char32_t code) const;

  locale_t locale_;  // whatever that of the process is
  std::string text_;
};

}  // namespace web
