#include "output.h"

#include <iostream>

namespace command {

bool FlushOutput() {
  std::cout.flush();
  return std::cout.good();
}

Outcome CloseOutput(Outcome outcome) {
  if (FlushOutput() || outcome == kInterrupted) return outcome;
  return End(outcome == kDone ? kRefused : outcome,
             "standard output could not be written: what it got is not complete");
}

}  // namespace command
