#include "base/key_value_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "temp_dir.h"

using fakes::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;
using VEXO::base::FileRead;

namespace {

/// What a file gave: settings as "key=value", reports as "line: reason".
struct Content {
  FileRead state = FileRead::kFailed;
  std::vector<std::string> settings;
  std::vector<std::string> reports;
  std::string reason;
};

Content ReadPath(const std::string& path) {
  Content content;
  content.state = VEXO::base::ReadKeyValueFile(
      path,
      [&content](const std::string& key, const std::string& value) {
        if (key == "refused") return "refused " + value;
        content.settings.push_back(key + "=" + value);
        return std::string();
      },
      [&content](int line, const std::string& reason) {
        content.reports.push_back(std::to_string(line) + ": " + reason);
      },
      &content.reason);
  return content;
}

Content ReadText(const std::string& text) {
  const TempDir dir;
  return ReadPath(dir.Write("a.conf", text));
}

}  // namespace

TEST(KeyValueFile, Settings_AreTrimmedAndComeInOrder) {
  const Content content = ReadText(
      "# comment\n"
      "\n"
      "b=1\r\n"
      "  a  =  x y = z   # comment\n"
      "a =\n"
      "last = 2");

  EXPECT_EQ(content.state, FileRead::kRead);
  EXPECT_THAT(content.settings, ElementsAre("b=1", "a=x y = z", "a=", "last=2"));
  EXPECT_THAT(content.reports, IsEmpty());
}

TEST(KeyValueFile, WrongLines_AreReportedWithTheirNumberAndSkipped) {
  const Content content = ReadText("a = 1\nno setting\nrefused = 3\nb = 4\n");

  EXPECT_THAT(content.settings, ElementsAre("a=1", "b=4"));
  EXPECT_THAT(content.reports,
              ElementsAre("2: not of the form \"key = value\"", "3: refused 3"));
}

TEST(KeyValueFile, LineWithNul_IsReportedAndSkipped) {
  const Content content = ReadText(std::string("a = 1\0 \nb = 2\n", 14));

  EXPECT_THAT(content.settings, ElementsAre("b=2"));
  EXPECT_THAT(content.reports, ElementsAre("1: the line contains a NUL byte"));
}

TEST(KeyValueFile, NoFile_IsMissingWithoutAReason) {
  const TempDir dir;
  const std::string file = dir.Write("file", "");
  for (const std::string& path : {dir.Path("none"), file + "/none"}) {
    const Content content = ReadPath(path);
    EXPECT_EQ(content.state, FileRead::kMissing) << path;
    EXPECT_EQ(content.reason, "");
  }
}

TEST(KeyValueFile, FifoWithoutAWriter_IsRefusedAndDoesNotBlock) {
  const TempDir dir;
  ASSERT_EQ(mkfifo(dir.Path("fifo").c_str(), 0600), 0);

  const Content content = ReadPath(dir.Path("fifo"));
  EXPECT_EQ(content.state, FileRead::kFailed);
  EXPECT_EQ(content.reason, "not a regular file");
}

TEST(KeyValueFile, FolderOrDevice_IsRefused) {
  const TempDir dir;

  EXPECT_EQ(ReadPath(dir.Path("")).reason, "not a regular file");
  EXPECT_EQ(ReadPath("/dev/zero").reason, "not a regular file");
}

TEST(KeyValueFile, LongLine_IsReadWhole) {
  const Content content = ReadText("a = " + std::string(500000, 'x') + "\nb = 2\n");

  EXPECT_THAT(content.settings, ElementsAre("a=" + std::string(500000, 'x'), "b=2"));
}

TEST(KeyValueFile, MoreThanAMebibyte_IsRefused) {
  const std::string setting = "a = 1\n";
  const std::string padding((size_t{1} << 20) - setting.size(), '#');

  EXPECT_THAT(ReadText(setting + padding).settings, ElementsAre("a=1"));
  const Content content = ReadText(setting + padding + "#");
  EXPECT_EQ(content.state, FileRead::kFailed);
  EXPECT_EQ(content.reason, "larger than 1 MiB");
  EXPECT_THAT(content.settings, IsEmpty());
}
