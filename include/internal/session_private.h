#pragma once

#include <map>
#include <string>
#include <vector>

#include "object.h"

namespace VEXO::sharing::record {

/// The fields and rules of Session.
class SessionPrivate : public Object {
 public:
  std::vector<std::string> GetFieldList() const override;
  std::map<std::string, std::string> GetFieldMap() const override;
  bool IsLegal() const override;
  void ToJSON(Json::Value& out) const override;
  bool FromRow(const db::Row& row) override;

  std::string session_id_;
  unsigned int uid_ = UID_ERR;
  std::string ip_;
  long timeout_ = 0;
};

}  // namespace VEXO::sharing::record
