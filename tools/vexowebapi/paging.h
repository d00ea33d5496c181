#pragma once

#include <json/value.h>

#include "answer.h"
#include "parameters.h"
#include "result.h"

namespace webapi {

inline constexpr char kOffset[] = "offset";
inline constexpr char kLimit[] = "limit";

/// Which rows a list answers.
struct Page {
  int offset = 0;
  int limit = 0;
};

/// Reads offset and limit; left out they are 0 and 100.
Page ReadPage(Parameters& parameters);

/// The answer with the rows of one page: `read` makes the view of a row, and answers
/// false for one that does not read, which is counted instead of shown.
Answer PageAnswer(const Page& page, long total, VEXO::sharing::db::Result& result,
                  bool (*read)(const VEXO::sharing::db::Row& row, Json::Value& view));

}  // namespace webapi
