#pragma once

#include <gtest/gtest.h>
#include <vexo/db.h>

#include <map>
#include <string>
#include <vector>

#include "fake_platform.h"
#include "result.h"

namespace VEXO::sharing::record {

/// One row, as a query of the database would return it.
class StoredRow {
 public:
  StoredRow(fakes::Platform& platform,
            const std::map<std::string, std::string>& columns) {
    std::vector<std::string> names;
    std::vector<std::string> values;
    for (const auto& [name, value] : columns) {
      names.push_back(name);
      values.push_back(value);
    }
    platform.schema_applied = false;
    platform.files["/rows.db"] = {1, 1, 0660};
    platform.AnswerStatement("the row", names, {values});
    VEXODB* const connection = VEXODBConnect("", "", "", "/rows.db");
    DBResult_tag* handle = nullptr;
    EXPECT_EQ(0, VEXODBExecute(connection, "the row", &handle));
    VEXODBClose(connection);
    result_.SetResult(handle);
    EXPECT_TRUE(result_.NextRow(row_));
  }

  const db::Row& row() const { return row_; }

 private:
  db::Result result_;
  db::Row row_;
};

}  // namespace VEXO::sharing::record
