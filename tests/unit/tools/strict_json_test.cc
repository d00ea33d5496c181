#include "strict_json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using testing::HasSubstr;

namespace {

/// The reason why the text is refused; "accepted" when it is not.
std::string Refusal(const std::string& text) {
  Json::Value value("before");
  std::string reason;
  if (tools::ParseStrictJson(text, value, reason)) return "accepted";
  EXPECT_EQ(value, Json::Value("before")) << text;
  EXPECT_NE(reason, "") << text;
  return reason;
}

std::string Nested(int depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

}  // namespace

TEST(StrictJson, ValidTexts_AreAccepted) {
  for (const std::string text :
       {"{}", "[]", " [ 1 , 2 ]\r\n\t", "[0]", "[-0]", "[0.5]", "[-1.25e+10]", "[1E5]",
        "[1e-5]", "[123456789012345]", "[true, false, null]", R"(["\"\\\/\b\f\n\r\t"])",
        R"(["\u00e9\ud83d\ude00"])", "[\"\xc3\xa9\xf0\x9f\x98\x80\"]", "[\"\x7f\"]",
        R"({"a":{"b":[{}]}})", R"({"":0})", R"(["- 01 +1 1."])", R"({"-":"+"})"}) {
    EXPECT_EQ(Refusal(text), "accepted") << text;
  }
}

TEST(StrictJson, Numbers_FollowTheGrammar) {
  for (const std::string number :
       {"-",    "+1",  "01",  "-01",   "1.",    ".5",       "-.5",       "1.e5",
        "1e",   "1e+", "1E-", "1.2.3", "1e1e1", "--1",      "1-1",       "1+1",
        "0x10", "00",  "0.",  "1_000", "NaN",   "Infinity", "-Infinity", "-NaN",
        "1a",   "0e",  "e5",  "+",     "."}) {
    EXPECT_NE(Refusal("[" + number + "]"), "accepted") << number;
    EXPECT_NE(Refusal("{\"a\":" + number + "}"), "accepted") << number;
  }
  EXPECT_EQ(Refusal("{\"a\":-}"), "invalid number");
}

TEST(StrictJson, ControlCharactersInStrings_AreRefused) {
  for (char character = 1; character < ' '; ++character) {
    const std::string inside = std::string("a") + character + "b";
    EXPECT_EQ(Refusal("[\"" + inside + "\"]"), "control character in a string")
        << int{character};
    EXPECT_EQ(Refusal("{\"" + inside + "\":1}"), "control character in a string")
        << int{character};
  }
}

TEST(StrictJson, WrongStructure_IsRefused) {
  for (const std::string text : {"",          " ",           "[",
                                 "]",         "{",           "}",
                                 "[1",        "[1,]",        "[,1]",
                                 "[1,,2]",    "[1 2]",       "{1:2}",
                                 "{\"a\"}",   "{\"a\":}",    "{\"a\":1,}",
                                 "{,}",       "{\"a\" 1}",   "{'a':1}",
                                 "[1]]",      "[1]{}",       "{}[]",
                                 "[1] x",     "1",           "\"a\"",
                                 "true",      "[tru]",       "[True]",
                                 "[nul]",     "[undefined]", "// c\n[]",
                                 "/* c */[]", "[1,/*c*/2]",  "#\n[]",
                                 "[\"a]",     "[a]",         "{\"a\":1,\"a\":2}",
                                 "[\v1]",     "[\f1]",       "\xef\xbb\xbf"}) {
    EXPECT_NE(Refusal(text), "accepted") << text;
  }
  EXPECT_NE(Refusal(std::string("[]\0", 3)), "accepted");
  EXPECT_NE(Refusal(std::string("[\0]", 3)), "accepted");
}

TEST(StrictJson, WrongEscapes_AreRefused) {
  for (const std::string text :
       {R"("\a")", R"("\x41")", R"("\u12")", R"("\u12G4")", R"("\U0041")", R"("\ud800")",
        R"("\udc00")", R"("\ud800\u0041")", R"("\ud800\ud800")", R"("\)", R"("\")",
        R"("\0")"}) {
    EXPECT_NE(Refusal("[" + text + "]"), "accepted") << text;
  }
}

TEST(StrictJson, InvalidUtf8_IsRefused) {
  for (const std::string bytes :
       {"\xff", "\xc3", "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82"}) {
    EXPECT_THAT(Refusal("[\"" + bytes + "\"]"), HasSubstr("UTF-8"));
  }
}

TEST(StrictJson, Depth_IsBounded) {
  EXPECT_EQ(Refusal(Nested(100)), "accepted");
  EXPECT_NE(Refusal(Nested(100000)), "accepted");
}

TEST(StrictJson, HugeNumber_IsReadOrRefusedAndNothingElse) {
  Refusal("[" + std::string(1000000, '1') + "]");
  EXPECT_EQ(Refusal("[" + std::string(1000000, '0') + "]"), "invalid number");
}
