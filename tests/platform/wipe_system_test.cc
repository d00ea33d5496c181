// After a login no copy of a password is left in the memory of the process.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <thread>

#include "base/wipe.h"
#include "entry_db.h"
#include "memory_scan.h"
#include "sharing_db.h"
#include "sharinglogin.h"
#include "support.h"
#include "utils.h"
#include "vexo/cgi.h"

using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::record::Entry;

namespace {

constexpr char kPassword[] = "correct horse battery staple, 7 times over";
constexpr char kOther[] = "another text that opens nothing whatsoever";
// Of tests that leave copies behind or begin after those.
constexpr char kOnHeap[] = "a text of which one copy is given back to the heap";
constexpr char kOnStack[] = "a text of which one copy is left behind on a stack";
constexpr char kHashed[] = "a text that is hashed and that nobody may find";

const char* const kFolder = "/usr/vexo/etc/private/session/sharing";

/// Where Store writes the hash of the password, in hexadecimal digits.
const char* const kHashFile = "/tmp/hash";

/// The secret that is looked for in all memory that operator delete gives back, and how
/// often it was found.  Later code would store other things there before a scan.
const Secret* watched = nullptr;
int given_back = 0;

void GiveBack(void* memory) {
  if (memory != nullptr && watched != nullptr) {
    given_back += watched->CountIn(memory, malloc_usable_size(memory));
  }
  free(memory);
}

/// Watches a secret until the end of the scope.
class Watch {
 public:
  explicit Watch(const Secret& secret) {
    watched = &secret;
    given_back = 0;
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch() { watched = nullptr; }
};

/// Runs `work` on a stack of its own, which stays in memory as `work` left it.
template <class Work>
void OnAnotherStack(Work work) {
  std::thread(work).join();
}

/// Stores the link "link", in a process of its own.
void Store(Entry::ProtectType type, Entry::PasswordEncryptAlgo algorithm) {
  InChild([=] {
    Entry link;
    link.set_hash("link");
    link.set_owner_uid(5001);
    link.set_project_name("photos");
    link.set_app(Json::Value(Json::objectValue));
    link.set_protect_type(type);
    if (type == Entry::PROTECT_USER) link.set_protect_users({"alice"});
    if (type == Entry::PROTECT_PASSWORD) {
      link.set_protect_password(kPassword, true, algorithm);
    }
    ASSERT_TRUE(EntryDB(SharingDB::Instance()).Create(link));
    std::ofstream(kHashFile) << link.get_protect_password();
  });
}

/// Logs in at the link and leaves no copy of the secret of its own.
int Login(const char* user, Secret& secret) {
  setenv("REMOTE_ADDR", "192.0.2.1", 1);
  _tag_sharing_login_params params = {};
  params.hash = "link";
  params.username = user;
  (user == nullptr ? params.password : params.user_password) = secret.Reveal();
  std::string session_id;
  const int result = VEXO::VexoSharingLogin(session_id, &params, false);
  secret.Hide();
  return result;
}

class WipedMemory : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(std::filesystem::exists(kFolder));
    for (const auto& file : std::filesystem::directory_iterator(kFolder)) {
      std::filesystem::remove(file.path());
    }
  }
};

}  // namespace

void* operator new(size_t size) {
  void* const memory = malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { GiveBack(memory); }
void operator delete(void* memory, size_t /*size*/) noexcept { GiveBack(memory); }

TEST_F(WipedMemory, CopyThatIsNotWiped_IsFound) {
  Secret secret(kOnHeap);
  EXPECT_EQ(secret.CountInMemory(), 0);
  secret.Reveal();
  EXPECT_EQ(secret.CountInMemory(), 1);
  {
    const Watch watch(secret);
    {
      const std::string copy = secret.Reveal();
      EXPECT_EQ(secret.CountInMemory(), 2);
    }
    EXPECT_EQ(given_back, 1);
  }
  secret.Hide();
  EXPECT_GE(secret.CountInMemory(), 1);  // in the memory that the copy gave back
}

TEST_F(WipedMemory, CopyOnAStackThatIsNotWiped_IsFound) {
  Secret secret(kOnStack);
  OnAnotherStack([&secret] {
    char copy[100];
    strcpy(copy, secret.Reveal());
    asm volatile("" ::"r"(copy) : "memory");  // keeps the copy
    secret.Hide();
  });
  EXPECT_GE(secret.CountInMemory(), 1);
}

TEST_F(WipedMemory, HashOfAPassword_LeavesNeitherThePasswordNorTheDigest) {
  Secret secret(kHashed);
  const Watch watch(secret);
  std::string md5;
  // The dynamic linker saves all registers when a function is called first.
  EXPECT_TRUE(VEXO::sharing::MD5HashPassword("something else", md5));
  OnAnotherStack([&] {
    std::string plain = secret.Reveal();
    EXPECT_TRUE(VEXO::sharing::MD5HashPassword(plain, md5));
    VEXO::base::Wipe(&plain);
    secret.Hide();
  });
  EXPECT_EQ(secret.CountInMemory(), 0);
  EXPECT_EQ(Secret::FromHex(md5).CountInMemory(), 0);

  // The heap only: libgcrypt has working memory of its own on the stack.
  std::string plain = secret.Reveal();
  std::string sha1;
  EXPECT_TRUE(VEXO::sharing::Sha1WithSaltHashPassword(plain, "salted", sha1));
  VEXO::base::Wipe(&plain);
  secret.Hide();
  EXPECT_EQ(given_back, 0);
}

TEST_F(WipedMemory, LoginByALinksPassword_LeavesNoPassword) {
  for (const auto algorithm : {Entry::ENCRYPT_ALGO_DEFAULT, Entry::ENCRYPT_ALGO_MD5}) {
    SetUp();
    Store(Entry::PROTECT_PASSWORD, algorithm);
    InChild([] {
      Secret right(kPassword);
      Secret wrong(kOther);
      const Watch watch(right);
      EXPECT_EQ(Login(nullptr, wrong), -9);
      EXPECT_EQ(Login(nullptr, right), 1);
      EXPECT_EQ(given_back, 0);
      EXPECT_EQ(right.CountInMemory(), 0);
      EXPECT_EQ(wrong.CountInMemory(), 0);
      std::string digits;
      std::ifstream(kHashFile) >> digits;
      EXPECT_EQ(Secret::FromHex(digits).CountInMemory(), 0);
    });
  }
}

TEST_F(WipedMemory, LoginByAUsersPassword_LeavesNoPassword) {
  InChild([] {
    FILE* const tool = popen("chpasswd --crypt-method SHA512", "w");
    ASSERT_NE(tool, nullptr);
    fprintf(tool, "alice:%s\n", kPassword);
    ASSERT_EQ(pclose(tool), 0);
  });
  Store(Entry::PROTECT_USER, Entry::ENCRYPT_ALGO_DEFAULT);
  InChild([] {
    Secret right(kPassword);
    Secret wrong(kOther);
    const Watch watch(right);
    EXPECT_EQ(Login("alice", wrong), -2);
    EXPECT_EQ(Login("alice", right), 1);
    EXPECT_EQ(given_back, 0);
    EXPECT_EQ(right.CountInMemory(), 0);
    EXPECT_EQ(wrong.CountInMemory(), 0);
  });
}

TEST_F(WipedMemory, FormOfTheLastRequest_IsGoneWhenTheNextOneBegins) {
  InChild([] {
    Secret secret(kPassword);
    const Watch watch(secret);
    setenv("CONTENT_TYPE", "application/x-www-form-urlencoded", 1);
    setenv("CONTENT_LENGTH", "9", 1);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
    const char* const plain = secret.Reveal();
    setenv("CONTENT_LENGTH", std::to_string(9 + strlen(plain)).c_str(), 1);
    ASSERT_EQ(write(ends[1], "password=", 9), 9);
    ASSERT_GT(write(ends[1], plain, strlen(plain)), 0);
    secret.Hide();

    VexoCgiContext first = {};
    ASSERT_EQ(VexoCgiInit("", &first), 1);
    ASSERT_NE(VexoCgiGetRequestParam(&first, "password", 0), nullptr);
    VexoCgiFree(&first);
    EXPECT_EQ(secret.CountInMemory(), 1);  // other contexts may ask for it

    setenv("CONTENT_LENGTH", "0", 1);
    setenv("REQUEST_URI", "/next", 1);
    VexoCgiContext second = {};
    ASSERT_EQ(VexoCgiInit("", &second), 1);
    VexoCgiFree(&second);
    EXPECT_EQ(secret.CountInMemory(), 0);
    EXPECT_EQ(given_back, 0);
  });
}
