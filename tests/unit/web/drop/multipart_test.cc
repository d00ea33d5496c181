#include "web/drop/multipart.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

using testing::ElementsAre;
using web::MultipartParser;
using Status = MultipartParser::Status;

/// Writes down what it receives.
class Record : public web::PartSink {
 public:
  bool Begin(const web::PartHeaders& headers) override {
    events.push_back(headers.name + "=");
    return events.size() <= limit;
  }
  bool Add(std::string_view bytes) override {
    largest = std::max(largest, bytes.size());
    events.back().append(bytes);
    return events.back().find("stop") == std::string::npos;
  }
  bool End() override {
    events.back() += ";";
    return events.back() != "refused=;";
  }

  std::vector<std::string> events;
  size_t largest = 0;
  size_t limit = 100;
};

std::string Part(const std::string& name, const std::string& content) {
  return "--b\r\nContent-Disposition: form-data; name=" + name + "\r\n\r\n" + content +
         "\r\n";
}

/// Feeds pieces of a size.  Every way to cut a body must have the same result.
Status Feed(const std::string& body, size_t size, Record* record) {
  MultipartParser parser("b", record);
  Status status = Status::kMore;
  for (size_t at = 0; at < body.size() && status == Status::kMore; at += size) {
    status = parser.Feed(std::string_view(body).substr(at, size));
  }
  return status;
}

Status FeedAll(const std::string& body, std::vector<std::string>* events = nullptr) {
  Record whole;
  const Status status = Feed(body, body.size() + 1, &whole);
  for (size_t size = 1; size < 12; ++size) {
    Record pieces;
    EXPECT_EQ(Feed(body, size, &pieces), status) << size << ": " << body;
    if (status != Status::kEnd) continue;
    EXPECT_EQ(pieces.events, whole.events) << size;
  }
  if (events != nullptr) *events = whole.events;
  return status;
}

TEST(Multipart, Parts_AreHandedOnWhole) {
  std::vector<std::string> events;
  EXPECT_EQ(
      FeedAll(Part("x", "1") + Part("y", "") + Part("z", "\r\n\r\n-") + "--b--", &events),
      Status::kEnd);
  EXPECT_THAT(events, ElementsAre("x=1;", "y=;", "z=\r\n\r\n-;"));
}

TEST(Multipart, ContentThatLooksLikeABoundary_IsContent) {
  for (const char* const content : {"x--b", "\r\n-b", "\r--b", "\n--b", "\r\n--\r\n--",
                                    "\r\r\n-", "x--b--", "\r\n\r\n"}) {
    std::vector<std::string> events;
    EXPECT_EQ(FeedAll(Part("x", content) + "--b--", &events), Status::kEnd) << content;
    EXPECT_THAT(events, ElementsAre("x=" + std::string(content) + ";"));
  }
}

TEST(Multipart, EmptyPartWithoutALineEndOfItsOwn_IsEmpty) {
  std::vector<std::string> events;
  EXPECT_EQ(
      FeedAll("--b\r\nContent-Disposition: form-data; name=x\r\n\r\n--b--", &events),
      Status::kEnd);
  EXPECT_THAT(events, ElementsAre("x=;"));
}

TEST(Multipart, PreamblePaddingAndEpilogue_AreOfNoAccount) {
  std::vector<std::string> events;
  std::string padded = Part("x", "1");
  padded.insert(3, " \t ");
  EXPECT_EQ(FeedAll("preamble\r\n" + padded + "--b--epilogue\r\n--b\r\n", &events),
            Status::kEnd);
  EXPECT_THAT(events, ElementsAre("x=1;"));
}

TEST(Multipart, FormWithoutParts_Ends) { EXPECT_EQ(FeedAll("--b--"), Status::kEnd); }

TEST(Multipart, BodyThatBreaksOff_HasNotEnded) {
  const std::string body = Part("x", "1") + "--b--";
  for (size_t size = 0; size < body.size(); ++size) {
    EXPECT_EQ(FeedAll(body.substr(0, size)), Status::kMore) << size;
  }
}

TEST(Multipart, OtherTextBehindABoundary_IsMalformed) {
  EXPECT_EQ(FeedAll("--bc\r\n"), Status::kMalformed);
  EXPECT_EQ(FeedAll(Part("x", "\r\n--bc")), Status::kMalformed);
  EXPECT_EQ(FeedAll("--b\rx"), Status::kMalformed);
  EXPECT_EQ(FeedAll("--b\nX"), Status::kMalformed);
  EXPECT_EQ(FeedAll("--b -- \r\n"), Status::kMalformed);
}

TEST(Multipart, WhatIsHeld_IsBounded) {
  Record record;
  EXPECT_EQ(Feed(std::string(9000, 'x'), 100, &record), Status::kMalformed);
  EXPECT_EQ(Feed("--b" + std::string(9000, ' '), 100, &record), Status::kMalformed);
  EXPECT_EQ(Feed("--b\r\nX: " + std::string(9000, 'x'), 100, &record),
            Status::kMalformed);
  const std::string headers = "--b\r\nX: " + std::string(9000, 'x') + "\r\n\r\n";
  EXPECT_EQ(Feed(headers, headers.size(), &record), Status::kMalformed);
  EXPECT_TRUE(record.events.empty());
}

TEST(Multipart, Sink_CanStopIt) {
  EXPECT_EQ(FeedAll(Part("refused", "") + "--b--"), Status::kStopped);
  EXPECT_EQ(FeedAll(Part("x", "please stop here") + "--b--"), Status::kStopped);
  Record record;
  record.limit = 1;
  EXPECT_EQ(Feed(Part("x", "1") + Part("y", "2") + "--b--", 5, &record),
            Status::kStopped);
  EXPECT_THAT(record.events, ElementsAre("x=1;", "y="));
}

}  // namespace
