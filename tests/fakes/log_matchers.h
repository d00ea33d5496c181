#pragma once

#include <gmock/gmock.h>
#include <unistd.h>

#include <string>

namespace fakes {

/// The log line of a refused condition.
MATCHER_P3(Refusal, source, line, condition, "") {
  const std::string begin = std::string(source) + ":" + std::to_string(line) + " (" +
                            std::to_string(getpid()) + ") Failed [" + condition +
                            "], err=";
  const std::string& text = arg;
  return text.compare(0, begin.size(), begin) == 0 && text.size() >= begin.size() + 2 &&
         text.compare(text.size() - 2, 2, "\n\n") == 0;
}

}  // namespace fakes
