#include "record/entry_data.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "digit_grouping.h"
#include "entry_test.h"

namespace VEXO::sharing::record {
namespace {

// The fast and the general way must agree on everything that the fast one accepts.

/// Makes links with usual and with hostile data, and damages their texts.
class Generator {
 public:
  size_t Draw(size_t below) { return random_() % below; }

  EntryData Data() {
    hostile_ = Draw(2) == 0;
    EntryData data;
    data.enable_match_ip_ = Draw(2) == 0;
    data.protect_type_ = static_cast<Entry::ProtectType>(Draw(4));
    data.protect_title_ = Text();
    data.protect_password_ = Text();
    data.protect_password_salt_ = Text();
    data.protect_password_algo_ = static_cast<Entry::PasswordEncryptAlgo>(Draw(3));
    data.protect_uids_ = Ids();
    data.protect_extra_users_ = Names();
    data.protect_gids_ = Ids();
    data.protect_extra_groups_ = Names();
    data.redirect_type_ = static_cast<Entry::RedirectType>(Draw(4));
    data.redirect_uri_ = Text();
    data.app_ = Member();
    data.private_data_ = Member();
    return data;
  }

  std::string Damaged(std::string text) {
    for (size_t changes = 1 + Draw(2); changes > 0; --changes) {
      const size_t at = Draw(text.size() + 1);
      switch (Draw(5)) {
        case 0:
          text.erase(at, 1 + Draw(4));
          break;
        case 1:
          text.insert(at, pieces_[Draw(pieces_.size())]);
          break;
        case 2:
          text.replace(at, 1, pieces_[Draw(pieces_.size())]);
          break;
        case 3: {  // a value becomes another one
          const size_t colon = text.find(':', at);
          if (colon == std::string::npos) break;
          const size_t end = text.find_first_of(",}]", colon);
          if (end == std::string::npos) break;
          text.replace(colon + 1, end - colon - 1, pieces_[Draw(pieces_.size())]);
          break;
        }
        default: {  // a part of the text moves or is repeated
          const std::string part = text.substr(at, Draw(40));
          if (Draw(2) == 0) text.erase(at, part.size());
          text.insert(Draw(text.size() + 1), part);
        }
      }
    }
    return text;
  }

 private:
  std::string Text() {
    std::string text;
    for (size_t length = Draw(8); length > 0; --length) {
      text += hostile_ ? static_cast<char>(random_()) : static_cast<char>('a' + Draw(26));
      if (hostile_ && Draw(3) == 0) text += "\"\\\n\t/\x01\x1f\x7f"[Draw(9)];
    }
    return text;
  }
  std::vector<unsigned int> Ids() {
    std::vector<unsigned int> ids(Draw(4));
    for (unsigned int& id : ids) id = static_cast<unsigned int>(random_()) >> Draw(32);
    return ids;
  }
  std::vector<std::string> Names() {
    std::vector<std::string> names(Draw(4));
    for (std::string& name : names) name = Text();
    return names;
  }
  /// In most cases an object, as in a legal link.
  Json::Value Member() {
    if (Draw(20) == 0) return Value(3);
    if (hostile_ && Draw(500) == 0) return Nested(Draw(2) == 0 ? 45 : 990, Draw(20));
    Json::Value object = Object(3);
    Comment(object);
    return object;
  }
  Json::Value Nested(size_t depth, size_t more) {
    Json::Value value(Json::objectValue);
    for (depth += more; depth > 0; --depth) {
      Json::Value outer;
      (Draw(2) == 0 ? outer["a"] : outer.append(Json::Value())).swap(value);
      value.swap(outer);
    }
    Json::Value object;
    object["nested"].swap(value);
    return object;
  }
  Json::Value Object(int depth) {
    Json::Value object(Json::objectValue);
    for (size_t members = Draw(4); members > 0; --members) {
      object[Draw(4) == 0 ? Text() : "name" + std::to_string(Draw(12))] =
          Value(depth - 1);
    }
    return object;
  }
  Json::Value Value(int depth) {
    Json::Value value;
    switch (Draw(depth > 0 ? 9 : 7)) {
      case 0:
        break;
      case 1:
        value = Draw(2) == 0;
        break;
      case 2:
        value = Json::Value::Int64{static_cast<std::int64_t>(random_()) >> Draw(64)};
        break;
      case 3:
        value = Json::Value::UInt64{random_() >> Draw(64)};
        break;
      case 4:
        value = hostile_ ? Real() : Json::Value(static_cast<int>(Draw(1000)));
        break;
      case 5:
      case 6:
        value = Text();
        break;
      case 7:
        value = Object(depth);
        break;
      default:
        value = Json::Value(Json::arrayValue);
        for (size_t count = Draw(4); count > 0; --count) value.append(Value(depth - 1));
        if (hostile_ && Draw(4) == 0) value[value.size() + 1] = 7;  // one is unset
    }
    Comment(value);
    return value;
  }
  Json::Value Real() {
    using Limits = std::numeric_limits<double>;
    switch (Draw(6)) {
      case 0:
        return Limits::infinity();
      case 1:
        return Limits::quiet_NaN();
      case 2:
        return Limits::denorm_min();
      case 3:
        return -0.0;
      default:
        return static_cast<double>(random_()) / static_cast<double>(1 + Draw(100000));
    }
  }
  void Comment(Json::Value& value) {
    if (!hostile_ || Draw(30) != 0) return;
    value.setComment(Draw(2) == 0 ? std::string("// c") : std::string("/* c */"),
                     static_cast<Json::CommentPlacement>(Draw(3)));
  }

  const std::vector<std::string> pieces_ = {" ",
                                            "\n",
                                            "\"",
                                            "\\",
                                            "{",
                                            "}",
                                            "[",
                                            "]",
                                            ",",
                                            ":",
                                            "0",
                                            "7",
                                            "-",
                                            "+1",
                                            "007",
                                            "-0",
                                            "1.0",
                                            "1e3",
                                            "1e999",
                                            "true",
                                            "false",
                                            "null",
                                            "{}",
                                            "[]",
                                            "\"x\"",
                                            "\"\"",
                                            "[1]",
                                            "[\"\"]",
                                            "/* c */",
                                            "// c\n",
                                            "'",
                                            "NaN",
                                            "\\n",
                                            "\\/",
                                            "\\b",
                                            "\\u00",
                                            "\\u0000",
                                            "\\u001f",
                                            "\\u0a",
                                            "\\u000a",
                                            "\\u001F",
                                            "\\u0041",
                                            "\\u00e4",
                                            "\\ud83d\\ude00",
                                            "\xff",
                                            "\xc3\xa4",
                                            std::string(1, '\0'),
                                            "4294967295",
                                            "4294967296",
                                            "-1",
                                            "999999999999999999",
                                            "9223372036854775808",
                                            "18446744073709551616",
                                            "\"app\":{}",
                                            ",\"zzz\":1",
                                            "{\"a\":1,\"a\":2}",
                                            "{\"b\":1,\"a\":2}",
                                            "{\"a\":1,}",
                                            "[1,]",
                                            "{\"\":0}",
                                            "{\"a\\n\":1}",
                                            "{\"a\":[{\"b\":\"\\\"\"}]}",
                                            "\"password\"",
                                            "\"none\""};
  std::mt19937_64 random_{1};
  bool hostile_ = false;
};

/// All members.
auto Members(const EntryData& data) {
  return std::tie(data.enable_match_ip_, data.protect_type_, data.protect_title_,
                  data.protect_password_, data.protect_password_salt_,
                  data.protect_password_algo_, data.protect_uids_,
                  data.protect_extra_users_, data.protect_gids_,
                  data.protect_extra_groups_, data.redirect_type_, data.redirect_uri_,
                  data.app_.Get(), data.private_data_.Get());
}

EntryData DataBefore() {
  EntryData data;
  data.protect_title_ = "before";
  data.protect_uids_ = {1};
  data.app_ = Json::Value("before");
  return data;
}

/// Checks the fast way against the general one; counts the texts that the fast one reads.
void ExpectSameReading(const std::string& text, int& fast_count) {
  EntryData expected = DataBefore();
  const bool readable = ReadDataAsJson(text, expected);
  EntryData fast = DataBefore();

  if (!ReadDataFast(text, fast)) {
    ASSERT_TRUE(Members(DataBefore()) == Members(fast)) << text;
    ASSERT_EQ(readable, ReadData(text, fast)) << text;
    ASSERT_TRUE(Members(expected) == Members(fast)) << text;
    return;
  }
  ++fast_count;
  ASSERT_TRUE(readable) << text;
  ASSERT_TRUE(fast.app_.IsObject() && fast.private_data_.IsObject()) << text;
  ASSERT_EQ(DataText(expected), DataText(fast)) << text;  // from the text that was read
  ASSERT_TRUE(Members(expected) == Members(fast)) << text;
}

/// Checks `count` links: the text of each, and the same text damaged.
void ExpectSameTexts(int count) {
  Generator generator;
  int written = 0;
  int read = 0;
  int damaged = 0;
  for (int i = 0; i < count; ++i) {
    const EntryData data = generator.Data();
    const std::string expected = WriteDataAsJson(data);
    std::string text = "before";

    ASSERT_EQ(expected, DataText(data));
    if (WriteDataFast(data, text)) {
      ++written;
    } else {
      ASSERT_EQ("before", text);
    }
    ASSERT_NO_FATAL_FAILURE(ExpectSameReading(expected, read));
    ASSERT_NO_FATAL_FAILURE(ExpectSameReading(generator.Damaged(expected), damaged));
  }
  EXPECT_GT(written, count / 2);
  EXPECT_GT(read, count / 3);
  EXPECT_GT(damaged, count / 100);
}

TEST(EntryData, GeneratedLinks_AreWrittenAndReadAsJsonIs) { ExpectSameTexts(100000); }

TEST(EntryData, GroupingLocale_LinksAreWrittenAndReadAsJsonIs) {
  const fakes::DigitGrouping grouping;
  ExpectSameTexts(1000);
}

TEST(EntryData, EveryByte_IsWrittenAndReadAsJsonIs) {
  EntryData data;
  for (int byte = 0; byte < 256; ++byte) data.protect_title_ += static_cast<char>(byte);
  Json::Value app;
  app[data.protect_title_] = data.protect_title_;
  data.app_ = app;
  data.private_data_ = Parsed(R"({"title": ""})");
  std::string text;

  ASSERT_TRUE(WriteDataFast(data, text));
  EXPECT_EQ(WriteDataAsJson(data), text);
  int read = 0;
  ExpectSameReading(text, read);
}

TEST(EntryData, UsualLink_IsReadFastAndItsObjectsStayText) {
  EntryData data;
  data.app_ = Parsed(R"({"path": "/volume1/é", "list": [1, -2, {}, [], null, true]})");
  data.private_data_ = Parsed(R"({"note": "a \"quoted\"\n text"})");
  data.protect_uids_ = {0, 1026, 4294967295U};
  data.protect_extra_users_ = {"ghost", ""};
  EntryData read;

  ASSERT_TRUE(ReadDataFast(WriteDataAsJson(data), read));
  EXPECT_TRUE(Members(data) == Members(read));
}

TEST(EntryData, OtherFormsOfNumbersAndStrings_AreReadAsJson) {
  for (const char* const value :
       {"1.5", "1e2", "-0", "01", "9999999999999999999", R"("\u0041")", R"("\/")",
        R"("\u000a")", "{\"b\":1,\"a\":2}", "{\"a\":1,\"a\":2}", "[1,]", "[ ]",
        "{\"a\\u0001\":1}"}) {
    EntryData data;
    data.app_ = Parsed(R"({"a": "VALUE"})");
    std::string text = WriteDataAsJson(data);
    text.replace(text.find("\"VALUE\""), 7, value);
    EntryData read;
    int fast = 0;

    EXPECT_FALSE(ReadDataFast(text, read)) << value;
    ExpectSameReading(text, fast);
  }
}

TEST(LazyJson, CopyOfAnUnreadObject_KeepsItsValue) {
  LazyJson json = LazyJson::FromObject(R"({"a":1})");
  const LazyJson copy = json;
  json = Json::Value();

  EXPECT_TRUE(copy.IsObject());
  EXPECT_EQ(1, copy.Get()["a"].asInt());
  EXPECT_TRUE(copy.IsObject());
  EXPECT_FALSE(json.IsObject());
}

TEST(LazyJson, MovedFrom_IsNull) {
  LazyJson json =
      LazyJson::FromObject(R"({"a":"a text that is longer than a short one"})");
  const LazyJson moved = std::move(json);

  EXPECT_TRUE(moved.IsObject());
  EXPECT_TRUE(json.Get().isNull());  // NOLINT(bugprone-use-after-move)
}

}  // namespace
}  // namespace VEXO::sharing::record
