#include "web/files/conditions.h"

#include <gtest/gtest.h>

using web::CurrentFile;
using web::EvaluatePreconditions;
using web::Precondition;
using web::RangeSelection;
using web::RequestConditions;
using web::SelectRanges;

namespace {

constexpr time_t kModified = 784111777;
constexpr time_t kNow = kModified + 3600;
const char kSame[] = "Sun, 06 Nov 1994 08:49:37 GMT";
const char kEarlier[] = "Sun, 06 Nov 1994 08:49:36 GMT";
const char kLater[] = "Sun, 06 Nov 1994 08:49:38 GMT";

const CurrentFile kFile = {"\"tag\"", kModified, 10};

Precondition Evaluate(const RequestConditions& request) {
  return EvaluatePreconditions(request, kFile, kNow);
}

RequestConditions IfMatch(const std::string& value) {
  RequestConditions request;
  request.if_match = value;
  return request;
}

RequestConditions IfNoneMatch(const std::string& value) {
  RequestConditions request;
  request.if_none_match = value;
  return request;
}

RequestConditions IfModifiedSince(const std::string& value) {
  RequestConditions request;
  request.if_modified_since = value;
  return request;
}

RequestConditions IfUnmodifiedSince(const std::string& value) {
  RequestConditions request;
  request.if_unmodified_since = value;
  return request;
}

/// Whether the range is served under this If-Range.
bool RangeIsServed(const std::string& if_range, time_t now = kNow) {
  RequestConditions request;
  request.range = "bytes=0-1";
  request.if_range = if_range;
  return SelectRanges(request, kFile, now).kind == RangeSelection::Kind::kPart;
}

}  // namespace

TEST(Preconditions, NoHeader_IsServed) {
  EXPECT_EQ(Evaluate(RequestConditions()), Precondition::kServe);
}

// RFC 9110, section 13.1.1: strong comparison
TEST(Preconditions, IfMatch_FailsWithoutTheStrongTag) {
  for (const char* const value :
       {"\"tag\"", "*", " * ", "\"a\", \"tag\"", "\"a\",,\"tag\"", "W/\"tag\", \"tag\"",
        "\"a,\\\",\"tag\""}) {
    EXPECT_EQ(Evaluate(IfMatch(value)), Precondition::kServe) << value;
  }
  for (const char* const value :
       {"\"other\"", "W/\"tag\"", "", "tag", "\"tag", "\"a\", tag", "\"a\" x \"tag\"",
        "\"TAG\"", "W/", "W/*"}) {
    EXPECT_EQ(Evaluate(IfMatch(value)), Precondition::kFailed) << value;
  }
}

// 13.1.2: weak comparison
TEST(Preconditions, IfNoneMatch_FindsTheTagWeakOrStrong) {
  for (const char* const value :
       {"\"tag\"", "W/\"tag\"", "*", "\"a\" , W/\"tag\"", "\"\",\"tag\""}) {
    EXPECT_EQ(Evaluate(IfNoneMatch(value)), Precondition::kNotModified) << value;
  }
  for (const char* const value : {"\"other\"", "", "tag", "w/\"tag\"", "\"tag"}) {
    EXPECT_EQ(Evaluate(IfNoneMatch(value)), Precondition::kServe) << value;
  }
}

// 13.1.3
TEST(Preconditions, IfModifiedSince_IsNotModifiedFromTheSameSecondOn) {
  EXPECT_EQ(Evaluate(IfModifiedSince(kEarlier)), Precondition::kServe);
  EXPECT_EQ(Evaluate(IfModifiedSince(kSame)), Precondition::kNotModified);
  EXPECT_EQ(Evaluate(IfModifiedSince(kLater)), Precondition::kNotModified);
  EXPECT_EQ(Evaluate(IfModifiedSince("Sunday, 06-Nov-94 08:49:37 GMT")),
            Precondition::kNotModified);
  EXPECT_EQ(Evaluate(IfModifiedSince("today")), Precondition::kServe);
}

// 13.1.4
TEST(Preconditions, IfUnmodifiedSince_FailsBeforeTheSameSecond) {
  EXPECT_EQ(Evaluate(IfUnmodifiedSince(kEarlier)), Precondition::kFailed);
  EXPECT_EQ(Evaluate(IfUnmodifiedSince(kSame)), Precondition::kServe);
  EXPECT_EQ(Evaluate(IfUnmodifiedSince(kLater)), Precondition::kServe);
  EXPECT_EQ(Evaluate(IfUnmodifiedSince("today")), Precondition::kServe);
}

// 13.2.2, steps 1 and 2
TEST(Preconditions, IfMatch_ComesBeforeIfUnmodifiedSince) {
  RequestConditions request = IfMatch("\"tag\"");
  request.if_unmodified_since = kEarlier;
  EXPECT_EQ(Evaluate(request), Precondition::kServe);

  request = IfMatch("\"other\"");
  request.if_unmodified_since = kLater;
  EXPECT_EQ(Evaluate(request), Precondition::kFailed);
}

// 13.2.2, steps 3 and 4
TEST(Preconditions, IfNoneMatch_ComesBeforeIfModifiedSince) {
  RequestConditions request = IfNoneMatch("\"other\"");
  request.if_modified_since = kLater;
  EXPECT_EQ(Evaluate(request), Precondition::kServe);

  request = IfNoneMatch("\"tag\"");
  request.if_modified_since = kEarlier;
  EXPECT_EQ(Evaluate(request), Precondition::kNotModified);
}

// 13.2.2: steps 1 and 2 come before 3 and 4
TEST(Preconditions, FailedMatch_ComesBeforeNotModified) {
  RequestConditions request = IfMatch("\"other\"");
  request.if_none_match = "\"tag\"";
  EXPECT_EQ(Evaluate(request), Precondition::kFailed);

  request = IfMatch("\"tag\"");
  request.if_none_match = "\"tag\"";
  EXPECT_EQ(Evaluate(request), Precondition::kNotModified);

  request = IfUnmodifiedSince(kEarlier);
  request.if_modified_since = kLater;
  EXPECT_EQ(Evaluate(request), Precondition::kFailed);
}

// 13.1.5: strong comparison of a tag, exact comparison of a date
TEST(IfRange, OtherValidator_IgnoresTheRange) {
  EXPECT_TRUE(RangeIsServed("\"tag\""));
  EXPECT_TRUE(RangeIsServed(kSame));
  for (const char* const value :
       {"\"other\"", "W/\"tag\"", "*", "", "tag", "\"tag\", \"tag\"", kEarlier, kLater}) {
    EXPECT_FALSE(RangeIsServed(value)) << value;
  }
}

// 8.8.2.2
TEST(IfRange, DateOfTheSecondThatIsNotOver_IgnoresTheRange) {
  EXPECT_FALSE(RangeIsServed(kSame, kModified));
  EXPECT_TRUE(RangeIsServed(kSame, kModified + 1));
}

// 13.1.5: without Range it means nothing
TEST(IfRange, WithoutRange_SelectsTheWhole) {
  RequestConditions request;
  request.if_range = "\"tag\"";
  EXPECT_EQ(SelectRanges(request, kFile, kNow).kind, RangeSelection::Kind::kWhole);
}

TEST(IfRange, Absent_ServesTheRange) {
  RequestConditions request;
  request.range = "bytes=20-";
  EXPECT_EQ(SelectRanges(request, kFile, kNow).kind,
            RangeSelection::Kind::kUnsatisfiable);
}
