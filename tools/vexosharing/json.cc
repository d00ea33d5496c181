#include "json.h"

#include <json/writer.h>

#include <iostream>

#include "text.h"

namespace command {

namespace {

Json::StreamWriterBuilder OneLineWriter() {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return builder;
}

}  // namespace

std::string JsonText(const Json::Value& value) {
  static const Json::StreamWriterBuilder builder = OneLineWriter();
  return ToUtf8(Json::writeString(builder, value));
}

void PrintJson(const Json::Value& value) { std::cout << JsonText(value) << "\n"; }

void JsonArrayWriter::Begin() const { std::cout << "["; }

void JsonArrayWriter::Add(const Json::Value& element) {
  std::cout << (empty_ ? "\n" : ",\n") << JsonText(element);
  empty_ = false;
}

void JsonArrayWriter::End() const { std::cout << (empty_ ? "]" : "\n]"); }

}  // namespace command
