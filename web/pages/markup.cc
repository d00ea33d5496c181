#include "markup.h"

namespace web {

void AppendEscaped(std::string_view text, std::string* html) {
  for (const char c : text) {
    switch (c) {
      case '<':
        *html += "&lt;";
        break;
      case '>':
        *html += "&gt;";
        break;
      case '&':
        *html += "&amp;";
        break;
      case '"':
        *html += "&quot;";
        break;
      default:
        *html += c;
    }
  }
}

}  // namespace web
