#include "record/record_fields.h"

#include <utility>

namespace VEXO::sharing::record {

std::map<std::string, std::string> PairFields(std::initializer_list<const char*> columns,
                                              std::vector<std::string> values) {
  std::map<std::string, std::string> fields;
  auto value = values.begin();
  for (const char* const column : columns) {
    fields.emplace(column, std::move(*value++));
  }
  return fields;
}

}  // namespace VEXO::sharing::record
