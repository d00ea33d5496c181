#include "web/drop/sent_note.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using web::SentNote;

constexpr time_t kTime = 1800000000;  // 2027-01-15T08:00:00Z

class SentNoteTest : public testing::Test {
 protected:
  SentNoteTest() {
    setenv("TZ", "XST-1", 1);
    tzset();
  }
  ~SentNoteTest() override {
    unsetenv("TZ");
    tzset();
  }
};

TEST_F(SentNoteTest, SenderTimeNamesAndNote_AreItsLines) {
  EXPECT_EQ(SentNote("Bob", "As promised", {"a.txt", "b (2).txt"}, kTime),
            "From: Bob\nSent: 2027-01-15 09:00:00 +0100\nFile: a.txt\n"
            "File: b (2).txt\n\nAs promised\n");
}

TEST_F(SentNoteTest, ControlCharactersOfTheSender_CannotForgeALine) {
  EXPECT_EQ(SentNote("Bob\nFile: x\x1B[2J", "", {"a"}, kTime),
            "From: Bob[U+000A]File: x[U+001B][2J\nSent: 2027-01-15 09:00:00 +0100\nFile: "
            "a\n\n\n");
}

TEST_F(SentNoteTest, Note_KeepsItsLinesOnly) {
  EXPECT_EQ(SentNote("", "one\r\ntwo\x1B[2J\xFF", {"a"}, kTime),
            "From: \nSent: 2027-01-15 09:00:00 +0100\nFile: a\n\n"
            "one\ntwo�[2J\uFFFD\n");
}

}  // namespace
