#include "terminal/json.h"

#include <iostream>

#include "admin/json_text.h"

namespace command {

void PrintJson(const Json::Value& value) { std::cout << admin::JsonText(value) << "\n"; }

void JsonArrayWriter::Begin() const { std::cout << "["; }

void JsonArrayWriter::Add(const Json::Value& element) {
  std::cout << (empty_ ? "\n" : ",\n") << admin::JsonText(element);
  empty_ = false;
}

void JsonArrayWriter::End() const { std::cout << (empty_ ? "]" : "\n]"); }

}  // namespace command
