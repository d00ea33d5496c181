#include "json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <iostream>
#include <memory>
#include <utility>

#include "text.h"

namespace command {

namespace {

// Below what the library reads, which is one level deeper in the stored text.
constexpr int kDeepest = 500;

Json::CharReaderBuilder StrictReader() {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = kDeepest;
  return builder;
}

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

Json::Value JsonArray(const std::vector<std::string>& texts) {
  Json::Value array(Json::arrayValue);
  for (const std::string& text : texts) array.append(text);
  return array;
}

bool ParseJsonObject(const std::string& text, Json::Value& out, std::string& reason) {
  if (!IsUtf8(text)) {
    reason = "it is not UTF-8";
    return false;
  }
  static const Json::CharReaderBuilder builder = StrictReader();
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  std::string errors;
  try {
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
      const size_t line = errors.find("\n  ");  // behind "* Line 1, Column 2"
      reason = line == std::string::npos ? errors : errors.substr(line + 3);
      reason = reason.substr(0, reason.find('\n'));
      return false;
    }
  } catch (const Json::Exception&) {
    reason = "it is nested too deep";
    return false;
  }
  if (!value.isObject()) {
    reason = "it is no object";
    return false;
  }
  out = std::move(value);
  return true;
}

void JsonArrayWriter::Begin() const { std::cout << "["; }

void JsonArrayWriter::Add(const Json::Value& element) {
  std::cout << (empty_ ? "\n" : ",\n") << JsonText(element);
  empty_ = false;
}

void JsonArrayWriter::End() const { std::cout << (empty_ ? "]" : "\n]"); }

}  // namespace command
