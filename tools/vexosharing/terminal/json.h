#pragma once

#include <json/value.h>

namespace command {

/// Writes the value to standard output, in a line of its own.
void PrintJson(const Json::Value& value);

/// Writes an array element by element to standard output, one on each line, so that only
/// one element is held in memory.  It stays open until End, so that an incomplete one is
/// not valid JSON.
class JsonArrayWriter {
 public:
  void Begin() const;
  void Add(const Json::Value& element);
  void End() const;

 private:
  bool empty_ = true;
};

}  // namespace command
