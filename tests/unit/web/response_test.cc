#include "web/response.h"

#include <gmock/gmock.h>

#include <optional>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using web::FormatHeaders;
using web::MakePage;
using web::MakeRedirect;
using web::Response;

/// A body of which only the length is of interest.
class EmptyBody : public web::Body {
 public:
  explicit EmptyBody(std::optional<std::uint64_t> length) : length_(length) {}
  std::optional<std::uint64_t> Length() const override { return length_; }
  bool Send(const web::Sink&) override { return true; }

 private:
  std::optional<std::uint64_t> length_;
};

TEST(FormatHeaders, StatusComesFirst_AndAnEmptyLineLast) {
  const std::string text = FormatHeaders(MakePage(404, "12345"));

  EXPECT_THAT(text, StartsWith("Status: 404 Not Found\r\n"));
  EXPECT_THAT(text, EndsWith("\r\nContent-Length: 5\r\n\r\n"));
}

TEST(FormatHeaders, LengthOfTheBody_IsThereWhereItIsKnown) {
  Response response;
  response.body = std::make_unique<EmptyBody>(1234567890123);
  EXPECT_THAT(FormatHeaders(response), HasSubstr("Content-Length: 1234567890123\r\n"));
  response.body = std::make_unique<EmptyBody>(std::nullopt);
  EXPECT_THAT(FormatHeaders(response), Not(HasSubstr("Content-Length")));
}

TEST(FormatHeaders, NotModified_HasNoLength) {
  Response response;
  response.status = 304;
  EXPECT_THAT(FormatHeaders(response), Not(HasSubstr("Content-Length")));
}

TEST(MakePage, TargetOfItsForm_IsInThePolicy) {
  EXPECT_THAT(FormatHeaders(MakePage(401, "", "https://a.org")),
              HasSubstr("form-action 'self' https://a.org; base-uri"));
  EXPECT_THAT(FormatHeaders(MakePage(401, "")),
              HasSubstr("form-action 'self'; base-uri"));
}

TEST(MakeRedirect, Response_IsNotStored) {
  const std::string text = FormatHeaders(MakeRedirect(303, "./x"));
  EXPECT_THAT(text, HasSubstr("Location: ./x\r\n"));
  EXPECT_THAT(text, HasSubstr("Cache-Control: no-store\r\n"));
}

}  // namespace
