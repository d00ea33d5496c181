#include "web/files/zip.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

#include "system_test.h"

using system_test::InChild;
using system_test::ReadFile;
using system_test::WriteFile;
using testing::HasSubstr;
using web::OpenResult;
using web::Owner;
using web::SharedTree;

namespace {

constexpr uid_t kAlice = 5001;
const char kShare[] = "/tmp/share";
const char kZip[] = "/tmp/share.zip";

/// Sends the zip of the share of its owner alice.
bool SendZip(const web::Sink& sink) {
  Owner owner;
  std::unique_ptr<SharedTree> tree;
  web::Node folder;
  if (FindOwner(kAlice, 0, &owner) != web::OwnerLookup::kFound ||
      SharedTree::Open({kShare, false}, owner, &tree) != OpenResult::kOpened ||
      tree->OpenNode("", &folder) != OpenResult::kOpened) {
    return false;
  }
  const auto body = web::ZipFolder(*tree, std::move(folder), tree->name());
  return body != nullptr && body->Send(sink);
}

/// Writes the zip of the share into a file.
bool WriteZip() {
  std::ofstream file(kZip, std::ios::binary);
  const bool sent = SendZip([&file](std::string_view piece) {
    file.write(piece.data(), static_cast<std::streamsize>(piece.size()));
    return file.good();
  });
  return sent && file.flush().good();
}

/// "whole" when the share can be zipped, "failed" when not.
std::string Zipped() {
  return SendZip([](std::string_view /*piece*/) { return true; }) ? "whole" : "failed";
}

/// Runs a shell command.  True when it succeeds; what it prints is in /tmp/out.
bool Succeeds(const std::string& command) {
  return system(("(" + command + ") >/tmp/out 2>&1").c_str()) == 0;
}

/// Largest memory of this process until now, in KiB.
long PeakMemory() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word) {
    if (word != "VmHWM:") continue;
    long size = 0;
    status >> size;
    return size;
  }
  return -1;
}

class Zip : public testing::Test {
 protected:
  Zip() {
    EXPECT_EQ(mkdir(kShare, 0755), 0);
    EXPECT_EQ(chown(kShare, kAlice, kAlice), 0);
  }

  static std::string In(const std::string& path) {
    return std::string(kShare) + "/" + path;
  }
};

}  // namespace

TEST_F(Zip, CommonPrograms_ReadIt) {
  ASSERT_EQ(mkdir(In("empty").c_str(), 0755), 0);
  ASSERT_EQ(mkdir(In("sub").c_str(), 0755), 0);
  WriteFile(In("sub/b c"), "some text");
  WriteFile(In("gr\xC3\xBC\xC3\x9F"), "");
  WriteFile(In("evil\\..\\..\\x"), "evil");
  WriteFile(In("a\nb"), "line");
  WriteFile(In("caf\xE9"), "latin");
  WriteFile(In("secret"), "secret");
  ASSERT_EQ(chmod(In("secret").c_str(), 0600), 0);  // of root
  const timespec times[] = {{0, UTIME_OMIT}, {1'234'567'890, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, In("empty").c_str(), times, 0), 0);
  ASSERT_EQ(utimensat(AT_FDCWD, In("sub/b c").c_str(), times, 0), 0);
  ASSERT_TRUE(WriteZip());

  EXPECT_TRUE(Succeeds("unzip -t /tmp/share.zip")) << ReadFile("/tmp/out");
  EXPECT_TRUE(Succeeds("cat /tmp/share.zip | bsdtar -tf -")) << ReadFile("/tmp/out");
  EXPECT_TRUE(Succeeds("unzip -d /tmp/unzipped /tmp/share.zip")) << ReadFile("/tmp/out");
  const std::string unzipped = "/tmp/unzipped/share/";
  EXPECT_EQ(ReadFile(unzipped + "sub/b c"), "some text");
  EXPECT_EQ(ReadFile(unzipped + "evil%5C..%5C..%5Cx"), "evil");
  EXPECT_EQ(ReadFile(unzipped + "a%0Ab"), "line");
  EXPECT_EQ(ReadFile(unzipped + "caf%E9"), "latin");
  for (const char* const name : {"empty", "sub/b c"}) {
    struct stat status = {};
    ASSERT_EQ(stat((unzipped + name).c_str(), &status), 0) << name;
    EXPECT_EQ(status.st_mtim.tv_sec, 1'234'567'890) << name;
  }
  const char kCheck[] =
      "import zipfile\n"
      "zip = zipfile.ZipFile('/tmp/share.zip')\n"
      "assert zip.testzip() is None\n"
      "assert sorted(zip.namelist()) == ['share/', 'share/a%0Ab', 'share/caf%E9',\n"
      "    'share/empty/', 'share/evil%5C..%5C..%5Cx', 'share/gr\\u00fc\\u00df',\n"
      "    'share/sub/', 'share/sub/b c'], zip.namelist()\n"
      "assert all(entry.compress_type == 0 for entry in zip.infolist())\n";
  WriteFile("/tmp/check.py", kCheck);
  EXPECT_TRUE(Succeeds("python3 /tmp/check.py")) << ReadFile("/tmp/out");
}

TEST_F(Zip, FailedZip_IsRejectedByCommonPrograms) {
  WriteFile(In("a"), std::string(1 << 20, 'x'));
  WriteFile(In("b"), std::string(1 << 20, 'x'));
  const std::string answer =
      InChild(system_test::Root(), [] {
        std::string bytes;
        const bool whole = SendZip([&bytes](std::string_view piece) {
          bytes += piece;
          return truncate(In("a").c_str(), 9) == 0 && truncate(In("b").c_str(), 9) == 0;
        });
        WriteFile(kZip, bytes);
        return std::string(whole ? "whole" : "failed");
      }).text;

  EXPECT_EQ(answer, "failed");
  EXPECT_GT(ReadFile(kZip).size(), 1000U);
  EXPECT_FALSE(Succeeds("unzip -t /tmp/share.zip"));
  EXPECT_FALSE(Succeeds("cat /tmp/share.zip | bsdtar -tf -")) << ReadFile("/tmp/out");
  EXPECT_FALSE(Succeeds("python3 -m zipfile -t /tmp/share.zip"));
}

TEST_F(Zip, TenThousandFiles_NeedLittleMemory) {
  for (int folder = 0; folder < 10; ++folder) {
    const std::string name = In("folder-" + std::to_string(folder));
    ASSERT_EQ(mkdir(name.c_str(), 0755), 0);
    for (int i = 0; i < 1000; ++i) {
      WriteFile(name + "/a name of common length " + std::to_string(i) + ".txt", "text");
    }
  }
  const std::string peak = InChild(system_test::Root(), [] {
                             return WriteZip() ? std::to_string(PeakMemory()) : "failed";
                           }).text;

  ASSERT_NE(peak, "failed");
#ifndef VEXO_SANITIZE  // it needs memory of its own
  EXPECT_LT(std::stol(peak), 32L << 10);
#endif
  EXPECT_TRUE(Succeeds("unzip -tqq /tmp/share.zip")) << ReadFile("/tmp/out");
  EXPECT_TRUE(Succeeds("unzip -l /tmp/share.zip | tail -1 | grep -q ' 10011 files'"))
      << ReadFile("/tmp/out");
  RecordProperty("peak_kib", peak);
}

TEST_F(Zip, MoreEntriesThanAreServed_FailIt) {
  for (int i = 0; i < 100'000; ++i) WriteFile(In(std::to_string(i)), "");
  EXPECT_EQ(InChild(system_test::System(), Zipped).text, "whole");

  WriteFile(In("one more"), "");
  EXPECT_EQ(InChild(system_test::System(), Zipped).text, "failed");
}
