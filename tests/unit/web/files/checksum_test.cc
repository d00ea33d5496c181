#include "web/files/checksum.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "support.h"
#include "temp_dir.h"

using files_test::BytesOf;
using VEXO::base::UniqueFd;
using web::ChecksumBody;
using web::ChecksumLine;

namespace {

UniqueFd Open(const std::string& path) { return UniqueFd(open(path.c_str(), O_RDONLY)); }

}  // namespace

TEST(Checksum, WholeFile_IsRead) {
  const fakes::TempDir dir;
  ChecksumBody body(Open(dir.Write("file", "abc")), 3, "file");

  EXPECT_EQ(BytesOf(body),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad  file\n");
}

TEST(Checksum, FileThatHasBecomeShorter_Fails) {
  const fakes::TempDir dir;
  ChecksumBody body(Open(dir.Write("file", "abc")), 4, "file");

  EXPECT_FALSE(body.Send([](std::string_view) { return true; }));
}

TEST(Checksum, Names_AreEscapedAsSha256sumDoes) {
  EXPECT_EQ(ChecksumLine("00", "a b.txt"), "00  a b.txt\n");
  EXPECT_EQ(ChecksumLine("00", "a\\b\nc\rd"), "\\00  a\\\\b\\nc\\rd\n");
}

TEST(Checksum, OtherCharactersThatMislead_AreShownByTheirCode) {
  EXPECT_EQ(ChecksumLine("00", "a\x01\xE2\x80\xAE\xff"),
            "00  a[U+0001][U+202E]\xEF\xBF\xBD\n");
}
