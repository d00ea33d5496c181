#include "web/files/content_disposition.h"

#include <gtest/gtest.h>

using web::ContentDisposition;
using web::Disposition;

namespace {

std::string Attachment(const std::string& name) {
  return ContentDisposition(Disposition::kAttachment, name);
}

}  // namespace

TEST(ContentDisposition, PlainName_IsInBothForms) {
  EXPECT_EQ(Attachment("a b.txt"),
            "attachment; filename=\"a b.txt\"; "
            "filename*=UTF-8''a%20b.txt");
  EXPECT_EQ(ContentDisposition(Disposition::kInline, "a.png"),
            "inline; filename=\"a.png\"; filename*=UTF-8''a.png");
}

TEST(ContentDisposition, OtherLanguages_KeepTheirCharactersInTheSecondName) {
  EXPECT_EQ(Attachment("M\xC3\xBCll \xE6\x97\xA5.txt"),
            "attachment; filename=\"M_ll _.txt\"; "
            "filename*=UTF-8''M%C3%BCll%20%E6%97%A5.txt");
}

TEST(ContentDisposition, WhatEndsOrSplitsTheHeader_IsReplaced) {
  EXPECT_EQ(Attachment("a\"b\\c/d\r\nX: y%41\x7F"),
            "attachment; filename=\"a_b_c_d__X: y_41_\"; "
            "filename*=UTF-8''a%22b_c_d__X%3A%20y%2541_");
}

TEST(ContentDisposition, CharactersThatTurnTheDirection_AreReplaced) {
  EXPECT_EQ(Attachment("a\xE2\x80\xAEgpj.exe"),
            "attachment; filename=\"a_gpj.exe\"; filename*=UTF-8''a_gpj.exe");
}

TEST(ContentDisposition, BytesThatAreNotUtf8_AreReplaced) {
  EXPECT_EQ(Attachment("a\xFF"),
            "attachment; filename=\"a_\"; filename*=UTF-8''a%EF%BF%BD");
}
