#include "admin/json_text.h"

#include <json/writer.h>
#include <utf8cpp/utf8.h>

#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "src/utils/json_write.h"

namespace admin {

namespace {

// Less than what the library reads: a link's stored text nests the object deeper.
constexpr size_t kMaxDepth = 499;

/// Whether a text has only ASCII characters, without DEL, which is escaped in ASCII too.
bool IsAscii(const std::string& text) {
  unsigned char bits = 0;
  for (const unsigned char byte : text) bits |= byte;
  return bits < 0x80 && text.find('\x7F') == std::string::npos;
}

/// Builds a Json::Value from the events of a parser that follows the standard.
class Builder : public nlohmann::json_sax<nlohmann::json> {
 public:
  explicit Builder(std::string& reason) : reason_(reason) {}

  bool null() override { return Add(Json::Value()); }
  bool boolean(bool value) override { return Add(value); }
  bool number_integer(number_integer_t value) override { return Add(Json::Int64{value}); }
  bool number_unsigned(number_unsigned_t value) override {
    return Add(Json::UInt64{value});
  }
  bool number_float(number_float_t value, const string_t& text) override {
    // The parser hands over an integer that does not fit as a real number.
    if (text.find_first_of(".eE") == string_t::npos) {
      return Refuse("integer out of range (64 bits): " + text);
    }
    return Add(value);
  }
  bool string(string_t& value) override { return Add(value); }
  bool binary(binary_t& /*value*/) override { return false; }  // not of JSON
  bool start_object(std::size_t /*size*/) override { return Open(Json::objectValue); }
  bool end_object() override { return Close(); }
  bool start_array(std::size_t /*size*/) override { return Open(Json::arrayValue); }
  bool end_array() override { return Close(); }
  bool key(string_t& name) override {
    if (open_.back()->isMember(name)) return Refuse("repeated name: \"" + name + "\"");
    name_ = name;
    return true;
  }
  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const nlohmann::json::exception& error) override {
    // out_of_range: a number beyond what a double holds.
    return Refuse(dynamic_cast<const nlohmann::json::out_of_range*>(&error) != nullptr
                      ? "number out of range"
                      : "invalid JSON at byte " + std::to_string(position));
  }

  bool Refuse(const std::string& text) {
    reason_ = text;
    return false;
  }

  Json::Value root;

 private:
  Json::Value* Place(Json::Value value) {
    if (open_.empty()) return &(root = std::move(value));
    Json::Value& parent = *open_.back();
    return &(parent.isArray() ? parent.append(std::move(value))
                              : parent[name_] = std::move(value));
  }
  bool Add(Json::Value value) { return Place(std::move(value)) != nullptr; }
  bool Open(Json::ValueType type) {
    if (open_.size() == kMaxDepth) return Refuse("nested too deeply");
    open_.push_back(Place(Json::Value(type)));
    return true;
  }
  bool Close() {
    open_.pop_back();
    return true;
  }
  std::string& reason_;
  std::vector<Json::Value*> open_;
  std::string name_;
};

}  // namespace

bool ParseJson(const std::string& text, Json::Value& out, std::string& reason) {
  Builder builder(reason);
  if (text.find('\0') != std::string::npos) {  // the parser would end there
    return builder.Refuse("NUL character");
  }
  if (!utf8::is_valid(text)) return builder.Refuse("not valid UTF-8");
  if (!nlohmann::json::sax_parse(text, &builder)) return false;
  out = std::move(builder.root);
  return true;
}

bool ParseJsonObject(const std::string& text, Json::Value& out, std::string& reason) {
  Json::Value value;
  if (!ParseJson(text, value, reason)) return false;
  if (!value.isObject()) return Builder(reason).Refuse("not a JSON object");
  out = std::move(value);
  return true;
}

bool IsUtf8(const std::string& text) { return IsAscii(text) || utf8::is_valid(text); }

std::string JsonText(const Json::Value& value, bool ascii) {
  std::string text;
  if (VEXO::sharing::AppendJson(value, text) && (ascii ? IsAscii(text) : IsUtf8(text))) {
    return text;
  }
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  text = utf8::replace_invalid(Json::writeString(builder, value));
  // The writer of jsoncpp uses 17 digits, which turns 0.1 into 0.10000000000000001.
  const auto parsed = nlohmann::json::parse(text, nullptr, false);
  if (parsed.is_discarded()) return text;  // an infinite number, which JSON cannot hold
  return parsed.dump(-1, ' ', ascii);
}

}  // namespace admin
