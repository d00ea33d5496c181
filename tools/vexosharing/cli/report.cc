#include "cli/report.h"

#include <iostream>
#include <utility>

#include "terminal/text.h"

namespace command {

void ReportError(const std::string& text) {
  std::cerr << "vexosharing: " << Printable(text) << "\n";
}

void ReportWarning(const std::string& text) { ReportError("warning: " + text); }

ExitCode Fail(ExitCode exit_code, const std::string& text) {
  ReportError(text);
  return exit_code;
}

ExitCode Fail(const admin::Error& error) {
  const std::pair<const char*, ExitCode> exit_codes[] = {
      {admin::kBadParameter, kUsageError},
      {admin::kMissingParameter, kUsageError},
      {admin::kNotPermitted, kDatabaseError},
      {admin::kNoDatabase, kDatabaseError},
      {admin::kDatabaseNotUsable, kDatabaseError},
      {admin::kInterrupted, kInterrupted}};
  for (const auto& [code, exit_code] : exit_codes) {
    if (error.code == code) return Fail(exit_code, error.Text());
  }
  return Fail(kRefused, error.Text());
}

}  // namespace command
