#include "web/files/body.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "support.h"
#include "temp_dir.h"

using files_test::BytesOf;
using testing::HasSubstr;
using testing::StartsWith;
using VEXO::base::UniqueFd;
using web::FileBody;
using web::MultipartBody;

namespace {

UniqueFd Open(const std::string& path) { return UniqueFd(open(path.c_str(), O_RDONLY)); }

/// A text in which every byte tells its position.
std::string Counted(size_t size) {
  std::string text;
  while (text.size() < size) text += std::to_string(text.size()) + " ";
  text.resize(size);
  return text;
}

}  // namespace

TEST(FileBody, WholeFile_IsSentInBoundedPieces) {
  const fakes::TempDir dir;
  const std::string text = Counted(3 * web::kPieceSize + 1);
  FileBody body(Open(dir.Write("file", text)), 0, text.size());

  EXPECT_EQ(body.Length(), text.size());
  std::string sent;
  EXPECT_TRUE(body.Send([&sent](std::string_view piece) {
    EXPECT_LE(piece.size(), web::kPieceSize);
    sent += piece;
    return true;
  }));
  EXPECT_EQ(sent, text);
}

TEST(FileBody, Part_BeginsAndEndsWhereItShould) {
  const fakes::TempDir dir;
  const std::string text = Counted(2 * web::kPieceSize);
  FileBody body(Open(dir.Write("file", text)), 10, web::kPieceSize + 5);

  EXPECT_EQ(BytesOf(body), text.substr(10, web::kPieceSize + 5));
}

TEST(FileBody, EmptyFile_SendsNothing) {
  const fakes::TempDir dir;
  FileBody body(Open(dir.Write("file", "")), 0, 0);

  bool sent = false;
  EXPECT_EQ(BytesOf(body, &sent), "");
  EXPECT_TRUE(sent);
}

TEST(FileBody, FileThatShrank_Fails) {
  const fakes::TempDir dir;
  FileBody body(Open(dir.Write("file", "0123456789")), 0, 10);
  ASSERT_EQ(truncate(dir.Path("file").c_str(), 5), 0);

  bool sent = true;
  BytesOf(body, &sent);
  EXPECT_FALSE(sent);
}

TEST(FileBody, FileThatGrew_SendsTheLengthThatWasAnnounced) {
  const fakes::TempDir dir;
  FileBody body(Open(dir.Write("file", "01234")), 0, 5);
  dir.Write("file", "0123456789");

  EXPECT_EQ(BytesOf(body), "01234");
}

TEST(FileBody, RefusedPiece_EndsTheBody) {
  const fakes::TempDir dir;
  const std::string text = Counted(3 * web::kPieceSize);
  FileBody body(Open(dir.Write("file", text)), 0, text.size());

  int pieces = 0;
  EXPECT_FALSE(body.Send([&pieces](std::string_view /*piece*/) { return ++pieces < 2; }));
  EXPECT_EQ(pieces, 2);
}

// RFC 9110, section 14.6, and RFC 2046, section 5.1.1
TEST(MultipartBody, Ranges_AreTheirPartsBetweenBoundaries) {
  const fakes::TempDir dir;
  MultipartBody body(Open(dir.Write("file", "0123456789")), 10, "text/x",
                     {{2, 4}, {9, 9}});

  const std::string type = body.ContentType();
  ASSERT_THAT(type, StartsWith("multipart/byteranges; boundary="));
  const std::string boundary = type.substr(type.find('=') + 1);
  const std::string bytes = BytesOf(body);
  EXPECT_EQ(bytes,
            "\r\n--" + boundary +
                "\r\nContent-Type: text/x\r\nContent-Range: bytes 2-4/10\r\n\r\n234"
                "\r\n--" +
                boundary +
                "\r\nContent-Type: text/x\r\nContent-Range: bytes 9-9/10\r\n\r\n9"
                "\r\n--" +
                boundary + "--\r\n");
  EXPECT_EQ(body.Length(), bytes.size());
}

TEST(MultipartBody, Boundaries_DifferAndAreLong) {
  const MultipartBody one(UniqueFd(), 1, "text/x", {{0, 0}});
  const MultipartBody other(UniqueFd(), 1, "text/x", {{0, 0}});

  EXPECT_NE(one.ContentType(), other.ContentType());
  EXPECT_GE(one.ContentType().size(),
            std::string("multipart/byteranges; boundary=").size() + 32);
}

TEST(MultipartBody, FileThatShrank_FailsWithoutItsEnd) {
  const fakes::TempDir dir;
  MultipartBody body(Open(dir.Write("file", "0123456789")), 10, "text/x",
                     {{2, 4}, {8, 9}});
  ASSERT_EQ(truncate(dir.Path("file").c_str(), 9), 0);

  bool sent = true;
  const std::string bytes = BytesOf(body, &sent);
  EXPECT_FALSE(sent);
  EXPECT_THAT(bytes, Not(HasSubstr("--\r\n")));
}

TEST(TextPreview, ShortFile_IsComplete) {
  const fakes::TempDir dir;
  web::TextPreview preview;
  ASSERT_TRUE(web::ReadTextPreview(Open(dir.Write("file", "a\r\nb")).get(), 4, &preview));

  EXPECT_EQ(preview.text, "a\nb");
  EXPECT_TRUE(preview.complete);
}

TEST(TextPreview, LongFile_IsCutBetweenCharacters) {
  const fakes::TempDir dir;
  const std::string path = dir.Write("file", "ab\xE6\x97\xA5xy");
  const auto preview_of = [&path](size_t limit) {
    web::TextPreview preview;
    EXPECT_TRUE(web::ReadTextPreview(Open(path).get(), limit, &preview));
    EXPECT_FALSE(preview.complete);
    return preview.text;
  };

  EXPECT_EQ(preview_of(2), "ab");
  EXPECT_EQ(preview_of(3), "ab");
  EXPECT_EQ(preview_of(4), "ab");
  EXPECT_EQ(preview_of(5), "ab\xE6\x97\xA5");
}

TEST(TextPreview, UnreadableFile_Fails) {
  web::TextPreview preview;
  EXPECT_FALSE(web::ReadTextPreview(-1, 10, &preview));
}
