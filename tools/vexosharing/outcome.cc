#include "outcome.h"

#include <iostream>

#include "text.h"

namespace command {

void Tell(const std::string& text) {
  std::cerr << "vexosharing: " << Printable(text) << "\n";
}

Outcome End(Outcome outcome, const std::string& text) {
  Tell(text);
  return outcome;
}

}  // namespace command
