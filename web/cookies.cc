#include "cookies.h"

#include "base/text.h"

namespace web {

std::string FindCookie(const std::string& header, const std::string& name) {
  for (const std::string& pair : VEXO::base::Split(header, ";")) {
    if (pair.compare(0, name.size() + 1, name + "=") == 0) {
      return pair.substr(name.size() + 1);
    }
  }
  return "";
}

}  // namespace web
