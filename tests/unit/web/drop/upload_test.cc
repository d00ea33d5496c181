#include "web/drop/upload.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "temp_dir.h"

namespace {

using web::DropFolder;
using web::ReceiveUpload;
using web::UploadResult;

const std::string kForm =
    "--b\r\nContent-Disposition: form-data; name=file; filename=a\r\n\r\n" +
    std::string(1000, 'x') + "\r\n--b--\r\n";

class UploadTest : public testing::Test {
 protected:
  UploadTest() {
    web::Share share;
    share.path = temp_.Path("");
    share.drop.emplace();
    web::Owner owner;
    owner.user = geteuid();
    owner.group = getegid();
    if (DropFolder::Open(share, owner, &folder_) != web::OpenResult::kOpened) abort();
  }

  /// Sends the form in pieces of `size` bytes.
  UploadResult Receive(size_t size, std::chrono::milliseconds timeout) {
    size_t at = 0;
    const auto read = [&](char* buffer, size_t room) {
      const size_t count = std::min({size, room, kForm.size() - at});
      memcpy(buffer, kForm.data() + at, count);
      at += count;
      return static_cast<ssize_t>(count);
    };
    return ReceiveUpload(*folder_, "b", kForm.size(), read, &files_, timeout);
  }
  bool HasFiles() const { return !std::filesystem::is_empty(temp_.Path("")); }

  fakes::TempDir temp_;
  std::unique_ptr<DropFolder> folder_;
  int files_ = 0;
};

TEST_F(UploadTest, BodyInTime_IsReceived) {
  EXPECT_EQ(Receive(7, std::chrono::hours(1)), UploadResult::kReceived);
  EXPECT_EQ(files_, 1);
  EXPECT_TRUE(HasFiles());
}

TEST_F(UploadTest, BodyThatIsTooSlow_IsBrokenOff) {
  EXPECT_EQ(Receive(kForm.size(), std::chrono::milliseconds(0)),
            UploadResult::kIncomplete);
  EXPECT_FALSE(HasFiles());
}

}  // namespace
