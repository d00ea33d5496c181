#include "admin/json_text.h"

#include <gtest/gtest.h>
#include <json/writer.h>
#include <utf8cpp/utf8.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <string>

namespace admin {
namespace {

const std::string kAccepted = "accepted";

/// Why the text is rejected.
std::string Rejection(const std::string& text) {
  Json::Value value("before");
  std::string reason;
  if (ParseJson(text, value, reason)) return kAccepted;
  EXPECT_EQ(value, Json::Value("before")) << text;
  EXPECT_NE(reason, "") << text;
  return reason;
}

Json::Value Parse(const std::string& text) {
  Json::Value value;
  std::string reason;
  EXPECT_TRUE(ParseJson(text, value, reason)) << text << ": " << reason;
  return value;
}

std::string Nested(size_t depth, const std::string& open, const std::string& inner,
                   const std::string& close) {
  std::string text;
  for (size_t i = 0; i < depth; ++i) text += open;
  text += inner;
  for (size_t i = 0; i < depth; ++i) text += close;
  return text;
}

// Reading, in the categories of the public suites of JSON texts.

TEST(JsonText, ValidTexts_AreAccepted) {
  for (const char* const text : {"{}",
                                 "[]",
                                 " [ 1 , 2 ]\r\n\t",
                                 "[[],{}]",
                                 "[0]",
                                 "[-0]",
                                 "[0.5]",
                                 "[-1.25e+10]",
                                 "[1E5]",
                                 "[1e-5]",
                                 "[0e1]",
                                 "[123456789012345]",
                                 "[true, false, null]",
                                 R"(["\"\\\/\b\f\n\r\t"])",
                                 R"(["\u00e9\ud83d\ude00\u0000"])",
                                 "[\"\xc3\xa9\xf0\x9f\x98\x80\"]",
                                 "[\"\x7f\"]",
                                 "[\"\xe2\x80\xa8\"]",
                                 R"({"a":{"b":[{}]}})",
                                 R"({"":0})",
                                 R"({"a\u0000b":1,"a":2})",
                                 R"(["- 01 +1 1."])",
                                 R"({"-":"+"})",
                                 "1",
                                 "\"a\"",
                                 "null",
                                 " true "}) {
    EXPECT_EQ(Rejection(text), kAccepted) << text;
  }
}

TEST(JsonText, WrongNumbers_AreRejected) {
  for (const char* const number :
       {"-",    "+1",  "01",    "-01",          "1.",   ".5",       "-.5",
        "1.e5", "1e",  "1e+",   "1E-",          "0e",   "1.2.3",    "1e1e1",
        "--1",  "1-1", "1+1",   "0x10",         "00",   "0.",       "e5",
        "+",    ".",   "1_000", "NaN",          "-NaN", "Infinity", "-Inf",
        "1a",   "1 0", "- 1",   "\xef\xbc\x91", "1eE2", "2.e3",     "-2."}) {
    EXPECT_NE(Rejection("[" + std::string(number) + "]"), kAccepted) << number;
    EXPECT_NE(Rejection("{\"a\":" + std::string(number) + "}"), kAccepted) << number;
  }
}

TEST(JsonText, WrongStructures_AreRejected) {
  for (const char* const text : {"",
                                 " ",
                                 "[",
                                 "]",
                                 "{",
                                 "}",
                                 "[1",
                                 "[1,]",
                                 "[,1]",
                                 "[1,,2]",
                                 "[1 2]",
                                 "{1:2}",
                                 "{\"a\"}",
                                 "{\"a\":}",
                                 "{\"a\":1,}",
                                 "{,}",
                                 "{\"a\" 1}",
                                 "{'a':1}",
                                 "[1]]",
                                 "[1]{}",
                                 "{}[]",
                                 "[1] x",
                                 "[tru]",
                                 "[True]",
                                 "[nul]",
                                 "[undefined]",
                                 "// c\n[]",
                                 "/* c */[]",
                                 "[1,/*c*/2]",
                                 "#\n[]",
                                 "[\"a]",
                                 "[a]",
                                 "[\v1]",
                                 "[\f1]",
                                 "[\xc2\xa0]",
                                 "{\"a\":b}",
                                 "{a:1}",
                                 "{\"a\":1 \"b\":2}",
                                 "[1}",
                                 "{\"a\":1]",
                                 "\xef\xbb\xbf",
                                 "nulL"}) {
    EXPECT_NE(Rejection(text), kAccepted) << text;
  }
}

TEST(JsonText, NulByte_IsRejectedEverywhere) {
  for (const std::string& text :
       {std::string("[]\0", 3), std::string("[]\0x", 4), std::string("[\0]", 3),
        std::string("\0[]", 3), std::string("[\"\0\"]", 5)}) {
    EXPECT_EQ(Rejection(text), "NUL character");
  }
}

TEST(JsonText, ControlCharacterInString_IsRejected) {
  for (char character = 1; character < ' '; ++character) {
    const std::string inside = std::string("a") + character + "b";
    EXPECT_NE(Rejection("[\"" + inside + "\"]"), kAccepted) << int{character};
    EXPECT_NE(Rejection("{\"" + inside + "\":1}"), kAccepted) << int{character};
  }
}

TEST(JsonText, WrongEscapes_AreRejected) {
  for (const char* const text :
       {R"("\a")", R"("\x41")", R"("\u12")", R"("\u12G4")", R"("\U0041")", R"("\0")",
        R"("\)", R"("\")", R"("\u")", R"("\ )"}) {
    EXPECT_NE(Rejection("[" + std::string(text) + "]"), kAccepted) << text;
  }
}

TEST(JsonText, LoneSurrogates_AreRejected) {
  for (const char* const text :
       {R"("\ud800")", R"("\udc00")", R"("\ud800\u0041")", R"("\ud800\ud800")",
        R"("\ud83dx")", R"("\ude00\ud83d")", R"("\ud800\n")"}) {
    EXPECT_NE(Rejection("[" + std::string(text) + "]"), kAccepted) << text;
    EXPECT_NE(Rejection("{" + std::string(text) + ":1}"), kAccepted) << text;
  }
}

TEST(JsonText, InvalidUtf8_IsRejected) {
  for (const char* const bytes :
       {"\xff", "\x80", "\xc3", "\xc0\x80", "\xe0\x80\x80", "\xed\xa0\x80",
        "\xf4\x90\x80\x80", "\xe2\x82", "\xf8\x88\x80\x80\x80"}) {
    EXPECT_NE(Rejection("[\"" + std::string(bytes) + "\"]"), kAccepted);
    EXPECT_NE(Rejection("[" + std::string(bytes) + "]"), kAccepted);
  }
}

TEST(JsonText, RepeatedName_IsRejectedInItsObjectOnly) {
  EXPECT_EQ(Rejection(R"({"a":1,"a":1})"), "repeated name: \"a\"");
  EXPECT_EQ(Rejection(R"({"a":1,"\u0061":2})"), "repeated name: \"a\"");
  EXPECT_EQ(Rejection(R"({"x":[{"b":{},"b":{}}]})"), "repeated name: \"b\"");
  EXPECT_EQ(Rejection(R"({"a":{"a":{"a":1}},"b":[{"a":1},{"a":2}]})"), kAccepted);
}

TEST(JsonText, Depth_IsLessThan500) {
  const size_t most = 499;
  EXPECT_EQ(Rejection(Nested(most, "[", "", "]")), kAccepted);
  EXPECT_EQ(Rejection(Nested(most, "{\"a\":", "1", "}")), kAccepted);
  EXPECT_EQ(Rejection(Nested(most + 1, "[", "", "]")), "nested too deeply");
  EXPECT_EQ(Rejection(Nested(most + 1, "{\"a\":", "1", "}")), "nested too deeply");
  EXPECT_EQ(Rejection(std::string(1000000, '[')), "nested too deeply");
}

TEST(JsonText, IntegerOf64Bits_IsExact) {
  const Json::Value value =
      Parse("[9223372036854775807,-9223372036854775808,18446744073709551615]");

  EXPECT_EQ(value[0].asInt64(), std::numeric_limits<Json::Int64>::max());
  EXPECT_EQ(value[1].asInt64(), std::numeric_limits<Json::Int64>::min());
  EXPECT_EQ(value[2].asUInt64(), std::numeric_limits<Json::UInt64>::max());
}

TEST(JsonText, IntegerBeyond64Bits_IsRejected) {
  for (const char* const number :
       {"18446744073709551616", "-9223372036854775809", "100000000000000000000"}) {
    EXPECT_EQ(Rejection("[" + std::string(number) + "]"),
              std::string("integer out of range (64 bits): ") + number);
  }
  EXPECT_NE(Rejection("[" + std::string(1000000, '1') + "]"), kAccepted);
}

TEST(JsonText, RealNumberBeyondDouble_IsRejected) {
  for (const char* const number :
       {"1e309", "-1e309", "1e999999999999", "1.5E+400", "123.456e78901"}) {
    EXPECT_EQ(Rejection("[" + std::string(number) + "]"), "number out of range");
  }
}

TEST(JsonText, TinyRealNumber_IsZeroOrTheNearest) {
  EXPECT_EQ(Parse("[1e-400]")[0].asDouble(), 0.0);
  EXPECT_EQ(Parse("[5e-324]")[0].asDouble(), std::numeric_limits<double>::denorm_min());
}

TEST(JsonText, Kinds_AreKept) {
  const Json::Value value = Parse(R"([1,-1,1.0,1e2,true,null,"1",[],{}])");

  EXPECT_TRUE(value[0].isUInt64());
  EXPECT_TRUE(value[1].isInt64());
  EXPECT_EQ(value[2].type(), Json::realValue);
  EXPECT_EQ(value[3].type(), Json::realValue);
  EXPECT_TRUE(value[4].isBool());
  EXPECT_TRUE(value[5].isNull());
  EXPECT_TRUE(value[6].isString());
  EXPECT_TRUE(value[7].isArray());
  EXPECT_TRUE(value[8].isObject());
}

TEST(JsonText, MembersAfterNestedObject_BelongToTheOuterOne) {
  const Json::Value value = Parse(R"({"a":{"b":1},"c":[2,{"d":3},4],"e":5})");

  EXPECT_EQ(value["a"]["b"], 1U);
  EXPECT_EQ(value["c"][1]["d"], 3U);
  EXPECT_EQ(value["c"][2], 4U);
  EXPECT_EQ(value["e"], 5U);
}

TEST(JsonText, Object_IsRequiredWhereAsked) {
  for (const char* const text : {"[]", "1", "\"a\"", "null", "true"}) {
    Json::Value value("before");
    std::string reason;
    EXPECT_FALSE(ParseJsonObject(text, value, reason)) << text;
    EXPECT_EQ(reason, "not a JSON object");
    EXPECT_EQ(value, Json::Value("before"));
  }
  Json::Value value;
  std::string reason;
  EXPECT_TRUE(ParseJsonObject("{\"a\":1}", value, reason));
  EXPECT_EQ(value["a"], 1U);
}

// Writing.

/// The text by way of two JSON libraries.
std::string TextOfLibraries(const Json::Value& value, bool ascii) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  const std::string text = utf8::replace_invalid(Json::writeString(builder, value));
  return nlohmann::json::parse(text).dump(-1, ' ', ascii);
}

Json::Value RandomValue(std::mt19937& random, int depth) {
  const auto below = [&random](unsigned int end) { return random() % end; };
  const char* const texts[] = {"",
                               "plain",
                               "\"\\/'",
                               "\b\f\n\r\t\x01\x1f\x7f",
                               "\xc3\xa9\xf0\x9f\x98\x80",
                               "\xe2\x82",
                               "\xff",
                               "\xed\xa0\x80",
                               "\xe2\x80\xa8",
                               "a\xc0\x80z",
                               "protect"};
  switch (below(depth == 0 ? 6 : 8)) {
    case 0:
      return texts[below(std::size(texts))];
    case 1:
      return Json::Int64(random()) * (below(2) == 0 ? 1000000000 : -1);
    case 2:
      return Json::UInt64{18446744073709551615U} - below(3);
    case 3:
      return below(2) == 0;
    case 4:
      return below(20) == 0 ? Json::Value(static_cast<int>(below(1000)) / 7.0)
                            : Json::Value();
    case 5:
      return std::string("a\0b", 3);
    case 6: {
      Json::Value array(Json::arrayValue);
      for (unsigned int i = below(4); i > 0; --i) {
        array.append(RandomValue(random, depth - 1));
      }
      return array;
    }
    default: {
      Json::Value object(Json::objectValue);
      for (unsigned int i = below(5); i > 0; --i) {
        object[texts[below(std::size(texts))]] = RandomValue(random, depth - 1);
      }
      return object;
    }
  }
}

TEST(JsonText, AnyValue_IsWrittenAsTheLibrariesWriteIt) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same values each time
  for (int i = 0; i < 5000; ++i) {
    const Json::Value value = RandomValue(random, 4);
    for (const bool ascii : {false, true}) {
      ASSERT_EQ(JsonText(value, ascii), TextOfLibraries(value, ascii));
    }
  }
}

TEST(JsonText, RealNumbers_HaveTheFewestDigits) {
  for (const char* const number :
       {"0.1", "-0.1", "1.0", "-0.0", "2.5", "1e+22", "1e-07", "1.7976931348623157e+308",
        "5e-324", "0.30000000000000004", "123456.789"}) {
    const std::string text = "[" + std::string(number) + "]";
    EXPECT_EQ(JsonText(Parse(text)), text);
    EXPECT_EQ(JsonText(Parse(text), true), text);
  }
}

TEST(JsonText, Integers_AreWrittenAsTheyAre) {
  const std::string text = "[0,-1,18446744073709551615,-9223372036854775808,10000]";
  EXPECT_EQ(JsonText(Parse(text)), text);
}

TEST(JsonText, RealNumberThatReadsBackOnlyAsText_StaysJson) {
  Json::Value array(Json::arrayValue);
  array.append(std::numeric_limits<double>::infinity());
  array.append(-std::numeric_limits<double>::infinity());
  array.append(std::nan(""));

  EXPECT_EQ(JsonText(array), "[1e+9999,-1e+9999,null]");
}

TEST(JsonText, NumbersInStringsAndNames_StayAsTheyAre) {
  const Json::Value value = Parse(
      R"({"0.10":"0.10","a\"1.50":"\\\"2.50, 1.0000000001e5\\","b":[0.5,"\\",0.25]})");

  EXPECT_EQ(
      JsonText(value),
      R"({"0.10":"0.10","a\"1.50":"\\\"2.50, 1.0000000001e5\\","b":[0.5,"\\",0.25]})");
}

TEST(JsonText, InvalidBytes_BecomeReplacementCharacters) {
  for (const char* const bytes : {"\xff", "\xc3", "\xed\xa0\x80", "\xc0\x80"}) {
    Json::Value value;
    value["a"] = "x" + std::string(bytes) + "y";
    for (const std::string& text : {JsonText(value), JsonText(value, true)}) {
      const std::string read = Parse(text)["a"].asString();
      EXPECT_EQ(read.substr(0, 4), "x\xef\xbf\xbd");
      EXPECT_EQ(read.back(), 'y');
    }
  }
}

TEST(JsonText, Ascii_EscapesEveryOtherCharacter) {
  Json::Value value("é😀\n\x7f");
  EXPECT_EQ(JsonText(value).find("é😀"), 1U);
  const std::string ascii = JsonText(value, true);
  for (const char character : ascii) EXPECT_GT(character, '\x1f');
  EXPECT_EQ(Parse(ascii), value);
}

TEST(JsonText, AnyText_ReadsBack) {
  std::string every;
  for (char character = 0; character < 127; ++character) every += character;
  Json::Value value;
  value[every] = every + "é\xe2\x80\xa8😀";
  EXPECT_EQ(Parse(JsonText(value)), value);
  EXPECT_EQ(Parse(JsonText(value, true)), value);
}

TEST(JsonText, JsonArray_HoldsTheTextsInOrder) {
  EXPECT_EQ(JsonText(JsonArray({"b", "a", ""})), R"(["b","a",""])");
  EXPECT_EQ(JsonText(JsonArray({})), "[]");
}

}  // namespace
}  // namespace admin
