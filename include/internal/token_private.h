#pragma once

#include <map>
#include <string>
#include <vector>

#include "object.h"

namespace VEXO::sharing::record {

/// The fields and rules of Token.
class TokenPrivate : public Object {
 public:
  std::vector<std::string> GetFieldList() const override;
  std::map<std::string, std::string> GetFieldMap() const override;
  bool IsLegal() const override;
  void ToJSON(Json::Value& out) const override;
  bool FromRow(const db::Row& row) override;

  int entry_id_ = 0;
  int session_id_ = 0;
  long timeout_ = 0;
  std::string unused_;  // part of the binary layout; not used
};

}  // namespace VEXO::sharing::record
