#include "utils/json_write.h"

#include <charconv>
#include <iterator>

#include "utils/json_escape.h"

namespace VEXO::sharing {

namespace {

bool HasComment(const Json::Value& value) {
  return value.hasComment(Json::commentBefore) ||
         value.hasComment(Json::commentAfterOnSameLine) ||
         value.hasComment(Json::commentAfter);
}

template <class T>
bool AppendNumber(T number, std::string& text) {
  char digits[20];  // of the largest number, or of the smallest one with its sign
  text.append(digits, std::to_chars(digits, std::end(digits), number).ptr);
  return true;
}

bool AppendText(const Json::Value& value, std::string& text) {
  const char* begin = nullptr;
  const char* end = nullptr;
  if (!value.getString(&begin, &end)) return false;
  AppendJsonString({begin, static_cast<size_t>(end - begin)}, text);
  return true;
}

bool AppendArray(const Json::Value& array, std::string& text) {
  text += '[';
  for (Json::ArrayIndex i = 0; i < array.size(); ++i) {  // an iterator skips unset ones
    if (i > 0) text += ',';
    if (!AppendJson(array[i], text)) return false;
  }
  text += ']';
  return true;
}

bool AppendObject(const Json::Value& object, std::string& text) {
  text += '{';
  for (auto member = object.begin(); member != object.end(); ++member) {
    if (member != object.begin()) text += ',';
    const char* end = nullptr;
    const char* const name = member.memberName(&end);
    AppendJsonString({name, static_cast<size_t>(end - name)}, text);
    text += ':';
    if (!AppendJson(*member, text)) return false;
  }
  text += '}';
  return true;
}

}  // namespace

void AppendJsonString(std::string_view value, std::string& text) {
  text += '"';
  while (!value.empty()) {
    const size_t plain = CountPlainInJson(value);
    text += value.substr(0, plain);
    if (plain == value.size()) break;
    AppendJsonEscape(value[plain], text);
    value.remove_prefix(plain + 1);
  }
  text += '"';
}

bool AppendJson(const Json::Value& value, std::string& text) {
  if (HasComment(value)) return false;
  switch (value.type()) {
    case Json::nullValue:
      text += "null";
      return true;
    case Json::booleanValue:
      text += value.asBool() ? "true" : "false";
      return true;
    case Json::intValue:
      return AppendNumber(value.asLargestInt(), text);
    case Json::uintValue:
      return AppendNumber(value.asLargestUInt(), text);
    case Json::stringValue:
      return AppendText(value, text);
    case Json::arrayValue:
      return AppendArray(value, text);
    case Json::objectValue:
      return AppendObject(value, text);
    default:
      return false;
  }
}

}  // namespace VEXO::sharing
