#pragma once

#include <string>

#include "admin/error.h"
#include "cli/exit_code.h"

namespace command {

/// Writes one line to standard error, after the program's name.
void ReportError(const std::string& text);

/// The same with "warning: " before the text.
void ReportWarning(const std::string& text);

/// Reports the error and returns its exit code.
ExitCode Fail(ExitCode exit_code, const std::string& text);
ExitCode Fail(const admin::Error& error);

}  // namespace command
