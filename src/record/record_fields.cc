#include "record/record_fields.h"

#include <stdexcept>

namespace VEXO::sharing::record {

db::Field ReadField(const db::Row& row, const char* column) {
  try {
    return row.GetField(column);
  } catch (const std::logic_error&) {
    return db::Field("");
  }
}

std::map<std::string, std::string> PairFields(const std::vector<std::string>& columns,
                                              const std::vector<std::string>& values) {
  std::map<std::string, std::string> fields;
  for (size_t i = 0; i < columns.size(); ++i) {
    fields[columns[i]] = values[i];
  }
  return fields;
}

}  // namespace VEXO::sharing::record
