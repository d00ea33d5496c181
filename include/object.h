#pragma once

#include <map>
#include <string>
#include <vector>

#include "keys.h"
#include "value_text.h"

namespace Json {
class Value;
}

namespace VEXO::sharing::db {
class Row;
}

namespace VEXO::sharing::record {

/// What a store needs to know of a record to write it to a table and to read it back. The
/// order of the virtual functions is part of the binary interface.
class SHARING_EXPORT Object {
 public:
  virtual ~Object();
  /// Values of the stored columns as SQL text, in table order, without the id.
  virtual std::vector<std::string> GetFieldList() const = 0;
  /// The same values by column name.
  virtual std::map<std::string, std::string> GetFieldMap() const = 0;
  /// Whether the record may be stored.  When it may not, the reason is logged.
  virtual bool IsLegal() const = 0;
  /// Writes the record's public view into `out`.
  virtual void ToJSON(Json::Value& out) const = 0;
  /// Fills the record, its id included, from a row.
  ///
  /// @return whether the record is legal
  virtual bool FromRow(const db::Row& row) = 0;

  /// False after a setter failed to make a value that can be stored.
  bool blValid_ = true;
  /// Row id; 0 until the record has been stored or read.
  int id = 0;

 protected:
  Object() = default;
  Object(const Object&) = default;
  Object& operator=(const Object&) = default;
};

}  // namespace VEXO::sharing::record
