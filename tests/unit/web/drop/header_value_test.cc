#include "web/drop/header_value.h"

#include <gtest/gtest.h>

namespace {

using web::BoundaryOf;
using web::ParseHeaderValue;
using web::ParsePartHeaders;

std::string FilenameOf(const std::string& parameters) {
  const auto headers =
      ParsePartHeaders("Content-Disposition: form-data; name=\"file\"; " + parameters);
  return headers ? headers->filename : "(malformed)";
}

TEST(ParseHeaderValue, WordAndNames_AreInLowerCase) {
  const auto value = ParseHeaderValue(" Form-Data ;NAME=\"A;b\" ; b=c ;");
  ASSERT_TRUE(value);
  EXPECT_EQ(value->word, "form-data");
  EXPECT_EQ(value->parameters.at("name"), "A;b");
  EXPECT_EQ(value->parameters.at("b"), "c");
}

TEST(ParseHeaderValue, FirstOfSeveralParameters_Counts) {
  EXPECT_EQ(ParseHeaderValue("a; b=1; B=2")->parameters.at("b"), "1");
}

TEST(ParseHeaderValue, MalformedText_IsNothing) {
  for (const char* const text :
       {"a; b", "a; =b", "a; b =c", "a; b=\"c", "a; b=\"c\"d", "a; \"b\"=c"}) {
    EXPECT_FALSE(ParseHeaderValue(text)) << text;
  }
}

TEST(Filename, EscapesOfBrowsers_AreDecodedAndNoOthers) {
  EXPECT_EQ(FilenameOf("filename=\"%22a%0D%0a%41%\""), "\"a\r\n%41%");
}

TEST(Filename, Backslash_EscapesAQuotationMarkUnlessItEndsTheText) {
  EXPECT_EQ(FilenameOf(R"(filename="a\"b\\c\d")"), R"(a"b\c\d)");
  EXPECT_EQ(FilenameOf(R"(filename="a\")"), R"(a\)");
}

TEST(Filename, ExtendedOne_WinsWhereItIsValid) {
  EXPECT_EQ(FilenameOf("filename=a; filename*=UTF-8''%E2%82%AC%20x"), "\u20AC x");
  EXPECT_EQ(FilenameOf("filename*=utf-8'de'x; filename=a"), "x");
  for (const char* const bad :
       {"ISO-8859-1''x", "UTF-8'x", "UTF-8", "UTF-8''%2", "''x", "UTF-8''%zz"}) {
    EXPECT_EQ(FilenameOf(std::string("filename=a; filename*=") + bad), "a") << bad;
  }
}

TEST(ParsePartHeaders, OtherHeaders_AreOfNoAccount) {
  const auto headers = ParsePartHeaders(
      "Content-Type: a/b\r\ncontent-DISPOSITION:form-data;name=x\r\nX-Y: ");
  ASSERT_TRUE(headers);
  EXPECT_EQ(headers->name, "x");
  EXPECT_EQ(headers->filename, "");
}

TEST(ParsePartHeaders, MalformedLines_AreNothing) {
  const std::string good = "Content-Disposition: form-data; name=x";
  EXPECT_TRUE(ParsePartHeaders(good));
  for (const std::string& bad :
       {std::string(), std::string("X: y"), good + "\r\nno colon", good + "\r\n: x",
        good + "\r\n folded: x", good + "\r\nX: a\rb", good + "\r\nX: a\nb",
        good + "\r\nX: " + std::string(1, '\0'), good + "\r\n\r\nX: y",
        std::string("Content-Disposition: attachment; name=x")}) {
    EXPECT_FALSE(ParsePartHeaders(bad)) << bad;
  }
}

TEST(BoundaryOf, RulesOfRfc2046_Hold) {
  EXPECT_EQ(BoundaryOf("multipart/form-data; boundary=a'()+_,-./:=?b"), "a'()+_,-./:=?b");
  EXPECT_EQ(BoundaryOf("Multipart/FORM-data; x=y; Boundary=\"a b\""), "a b");
  EXPECT_EQ(BoundaryOf("multipart/form-data; boundary=" + std::string(70, 'x')),
            std::string(70, 'x'));
  for (const std::string& bad :
       {std::string("multipart/form-data"), std::string("multipart/form-data; boundary="),
        "multipart/form-data; boundary=" + std::string(71, 'x'),
        std::string("multipart/form-data; boundary=\"a \""),
        std::string("multipart/form-data; boundary=\"a\r\""),
        std::string("multipart/form-data; boundary=\xC3\xA9"),
        std::string("multipart/mixed; boundary=a"), std::string()}) {
    EXPECT_FALSE(BoundaryOf(bad)) << bad;
  }
}

}  // namespace
