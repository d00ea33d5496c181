#pragma once

#include <json/value.h>

#include <string>

namespace command {

/// The value as JSON in one line of valid UTF-8.
std::string JsonText(const Json::Value& value);

/// Writes the value to standard output, in a line of its own.
void PrintJson(const Json::Value& value);

/// Writes an array element by element to standard output, one a line, so that it takes no
/// memory.  It stays open until End, so that a broken-off one is no valid JSON.
class JsonArrayWriter {
 public:
  void Begin() const;
  void Add(const Json::Value& element);
  void End() const;

 private:
  bool empty_ = true;
};

}  // namespace command
