#include "utils/json_text.h"

#include <gmock/gmock.h>
#include <json/value.h>

#include <string>

#include "digit_grouping.h"

namespace VEXO::sharing {
namespace {

std::string Nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

TEST(ParseJson, ValidText_FillsOut) {
  Json::Value out;

  EXPECT_TRUE(ParseJson(R"({"name":"a\u00e4","list":[1,2]})", out));
  EXPECT_EQ("a\xc3\xa4", out["name"].asString());
  EXPECT_EQ(2u, out["list"].size());
}

class ParseJsonRefuses : public testing::TestWithParam<std::string> {};

TEST_P(ParseJsonRefuses, RefusedText_LeavesOutUnchanged) {
  Json::Value out = "before";

  EXPECT_FALSE(ParseJson(GetParam(), out));
  EXPECT_EQ(Json::Value("before"), out);
}

INSTANTIATE_TEST_SUITE_P(Texts, ParseJsonRefuses,
                         testing::Values("", " ", "{", R"({"a":})", "no json",
                                         R"({"a":1,})"
                                         "}",
                                         Nested(2000), Nested(1000000)));

TEST(ParseJson, NestedWithinTheBound_IsRead) {
  Json::Value out;

  EXPECT_TRUE(ParseJson(Nested(500), out));
  EXPECT_TRUE(out.isArray());
}

TEST(JsonText, Value_IsOneLineThatReadsBack) {
  Json::Value value;
  value["text"] = "a\nb \"quoted\" 'single' \\";
  value["list"].append(1);
  value["list"].append("two");
  value["real"] = 0.25;

  const std::string text = JsonText(value);

  EXPECT_EQ(std::string::npos, text.find('\n'));
  Json::Value again;
  ASSERT_TRUE(ParseJson(text, again));
  EXPECT_EQ(value, again);
}

TEST(JsonText, Utf8_IsKeptAsItIs) {
  EXPECT_EQ("\"\xc3\xa4\xe2\x82\xac\xf0\x9f\x94\x97\"",
            JsonText(Json::Value("\xc3\xa4\xe2\x82\xac\xf0\x9f\x94\x97")));
}

TEST(JsonText, InvalidUtf8_ReadsBackByteForByte) {
  const std::string bytes = "a\xff\xfe\xc3";
  Json::Value again;

  ASSERT_TRUE(ParseJson(JsonText(Json::Value(bytes)), again));
  EXPECT_EQ(bytes, again.asString());
}

TEST(JsonText, NulInText_IsEscapedAndReadsBack) {
  const std::string bytes("a\0b", 3);

  const std::string text = JsonText(Json::Value(bytes));

  EXPECT_EQ(std::string::npos, text.find('\0'));
  Json::Value again;
  ASSERT_TRUE(ParseJson(text, again));
  EXPECT_EQ(bytes, again.asString());
}

TEST(JsonText, GroupingLocale_NumbersReadBack) {
  Json::Value value;
  value["whole"] = 1234567;
  value["real"] = 1234567.5;
  const fakes::DigitGrouping grouping;
  Json::Value again;

  const std::string text = JsonText(value);

  EXPECT_THAT(text, testing::HasSubstr("1234567.5"));
  ASSERT_TRUE(ParseJson(text, again));
  EXPECT_EQ(value, again);
}

}  // namespace
}  // namespace VEXO::sharing
