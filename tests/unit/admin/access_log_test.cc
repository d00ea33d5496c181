#include "admin/access_log.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "temp_dir.h"

namespace {

using admin::AccessLogReader;
using admin::RecordedVisit;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class AccessLogReaderTest : public testing::Test {
 protected:
  static std::string Line(int second, const std::string& link = "abc",
                          const std::string& more = "") {
    return R"({"time":"2027-01-15T08:00:)" + std::to_string(second) + R"(Z","link":")" +
           link + R"(","event":"list","status":200,"path":"","bytes":1)" + more + "}\n";
  }

  /// The seconds of the visits of a link.
  std::vector<long> Read(const std::string& link = "abc") {
    AccessLogReader log(folder_.Path(""));
    const admin::Error error = log.Open();
    EXPECT_FALSE(error) << error.message;
    std::vector<long> seconds;
    for (RecordedVisit visit; log.Next(link, visit);) {
      seconds.push_back(visit.time - 1800000000);
      last_ = visit;
    }
    EXPECT_FALSE(log.error());
    malformed_ = log.malformed();
    since_ = log.since();
    return seconds;
  }

  fakes::TempDir folder_;
  RecordedVisit last_;
  long malformed_ = 0;
  long since_ = 0;
};

TEST_F(AccessLogReaderTest, RotatedFiles_AreReadFromTheOldest) {
  folder_.Write("access.log", Line(15) + Line(16));
  folder_.Write("access.log.1", Line(14));
  folder_.Write("access.log.2", Line(13));
  folder_.Write("access.log.10", Line(12, "other") + Line(12));
  for (const char* const other : {"access.log.gz", "access.log.", "access.log.1.gz",
                                  "access.log.-1", "access.log.0", "other.1"}) {
    folder_.Write(other, Line(99));
  }

  EXPECT_THAT(Read(), ElementsAre(12, 13, 14, 15, 16));
  EXPECT_EQ(malformed_, 0);
  EXPECT_EQ(since_, 1800000012);
}

TEST_F(AccessLogReaderTest, FileThatIsThereTwice_IsReadOnce) {
  const std::string path = folder_.Write("access.log", Line(11));
  ASSERT_EQ(link(path.c_str(), folder_.Path("access.log.1").c_str()), 0);

  EXPECT_THAT(Read(), ElementsAre(11));
}

TEST_F(AccessLogReaderTest, LinesOfOtherLinks_AreLeftOut) {
  folder_.Write("access.log", Line(11, "abcd") + Line(12, "xabc") + Line(13, "ABC") +
                                  Line(14, "other", R"(,"address":"\"link\":\"abc\"")") +
                                  Line(15));

  EXPECT_THAT(Read(), ElementsAre(15));
  EXPECT_THAT(Read("abcd"), ElementsAre(11));
  EXPECT_THAT(Read("ab"), IsEmpty());
  EXPECT_THAT(Read(""), IsEmpty());
}

TEST_F(AccessLogReaderTest, HashWithOtherCharacters_IsFound) {
  folder_.Write("access.log", Line(11, R"(a\u0022b)") + Line(12, R"(a\"b)") + Line(13));

  EXPECT_THAT(Read("a\"b"), ElementsAre(11, 12));
}

TEST_F(AccessLogReaderTest, MembersThatAreThere_AreRead) {
  folder_.Write("access.log", Line(11, "abc", R"(,"code":-9,"address":"192.0.2.0/24")"));

  ASSERT_THAT(Read(), ElementsAre(11));
  EXPECT_EQ(last_.event, "list");
  EXPECT_EQ(last_.code, -9);
  EXPECT_EQ(last_.status, 200);
  EXPECT_EQ(last_.bytes, 1u);
  EXPECT_EQ(last_.address, "192.0.2.0/24");
}

TEST_F(AccessLogReaderTest, DamagedLines_AreSkippedAndCounted) {
  const std::string good = Line(11);
  const std::vector<std::string> damaged = {
      "\n",
      "nonsense\n",
      "{}\n",
      good.substr(0, 40) + "\n",
      good.substr(0, 60) + good,
      std::string(5000, 'x') + "\n",
      std::string(200000, 'x') + "\n",
      std::string("{\"time\":\"\0\",\"link\":\"abc\"}\n", 26),
      R"({"time":"2027-01-15","link":"abc","event":"x","status":1,"path":"","bytes":1})"
      "\n",
      R"({"time":"2027-01-15T08:00:11Z","link":"abc","event":1,"status":1,"path":"","bytes":1})"
      "\n",
      Line(11, "abc", R"(,"code":"x")"),
      Line(11, "abc", ",\"address\":\"\xFF\""),
      good.substr(0, good.size() - 1),  // without an end
  };
  std::string text;
  for (const std::string& line : damaged) text += Line(10) + line;
  folder_.Write("access.log.1", text);
  folder_.Write("access.log", Line(12));

  const std::vector<long> seconds = Read();

  EXPECT_EQ(seconds.size(), damaged.size() + 1);
  EXPECT_EQ(seconds.back(), 12);
  EXPECT_EQ(malformed_, static_cast<long>(damaged.size()));
}

TEST_F(AccessLogReaderTest, LinesAcrossPieces_AreWhole) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += Line(10 + i % 50);
  folder_.Write("access.log", text);

  EXPECT_EQ(Read().size(), 5000u);
  EXPECT_EQ(malformed_, 0);
}

TEST_F(AccessLogReaderTest, NoFile_IsNoVisit) {
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_EQ(since_, 0);
}

TEST_F(AccessLogReaderTest, FolderOrLink_IsNotRead) {
  ASSERT_EQ(symlink("/etc/passwd", folder_.Path("access.log").c_str()), 0);

  EXPECT_THAT(AccessLogReader(folder_.Path("")).Open().message, HasSubstr("cannot read"));
  EXPECT_THAT(AccessLogReader(folder_.Path("none")).Open().message,
              HasSubstr("No such file or directory"));
}

}  // namespace
