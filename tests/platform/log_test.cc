// How long the write-ahead log is continued, and what a power failure leaves of it.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "database_support.h"
#include "temp_dir.h"
#include "vexo/db.h"

using fakes::TempDir;
using testing::ElementsAre;
using testing::Ge;
using testing::SizeIs;

namespace {

constexpr int kLogHeader = 32;
constexpr int kFrame = 24 + 4096;
constexpr int kContinuedPages = 128;
constexpr size_t kSector = 512;

std::function<void(const std::string& path)> on_sync;
std::function<void(const std::string& path, const char* data, size_t size, off_t at)>
    on_write;

std::string PathOf(int fd) {
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd));
}

ssize_t Write(int fd, const void* data, size_t size, off_t at) {
  const ssize_t written = pwrite(fd, data, size, at);
  if (on_write && written > 0) {
    on_write(PathOf(fd), static_cast<const char*>(data), written, at);
  }
  return written;
}

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

// SQLite syncs with this function of the C library.
extern "C" int fdatasync(int fd) {
  const auto code = static_cast<int>(syscall(SYS_fdatasync, fd));
  if (on_sync && code == 0) on_sync(PathOf(fd));
  return code;
}

namespace {

class LogTest : public testing::Test {
 protected:
  LogTest() {
    EXPECT_TRUE(Executes(db,
                         "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; "
                         "CREATE TABLE t(id INTEGER PRIMARY KEY, v); "
                         "CREATE INDEX by_v ON t(v)"));
    Checkpoint();
  }
  ~LogTest() override {
    on_sync = nullptr;
    on_write = nullptr;
  }

  void Insert(int v) {
    EXPECT_TRUE(Executes(db, "INSERT INTO t(v) VALUES(" + std::to_string(v) + ")"));
  }
  void Checkpoint() { EXPECT_TRUE(Executes(db, "PRAGMA wal_checkpoint")); }
  /// Different after each restart of the log.
  std::string LogHeader() const { return Contents(log_path).substr(0, kLogHeader); }

  TempDir dir;
  const std::string path = dir.Write("test.db", "");
  const std::string log_path = path + "-wal";
  Database db = Connect(path);
};

/// The database and its log on a disk that keeps what was synced.  Of each write since
/// then it keeps everything, nothing, or some sectors.
class Disk {
 public:
  explicit Disk(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) files_[path].synced = Contents(path);
  }

  /// False for the files of other databases.
  bool Write(const std::string& path, const char* data, size_t size, off_t at) {
    const auto file = files_.find(path);
    if (file == files_.end()) return false;
    file->second.written.push_back({static_cast<size_t>(at), std::string(data, size)});
    return true;
  }
  bool Sync(const std::string& path) {
    const auto file = files_.find(path);
    if (file == files_.end()) return false;
    for (const Bytes& bytes : file->second.written) Put(bytes, file->second.synced);
    file->second.written.clear();
    return true;
  }
  /// Writes what a power failure could leave of each file into `folder`.
  void Fail(std::mt19937& random, const std::string& folder) const {
    for (const auto& [path, file] : files_) {
      std::string left = file.synced;
      for (const Bytes& bytes : file.written) PutSome(bytes, random, left);
      const std::string name = std::filesystem::path(path).filename();
      std::ofstream(folder + "/" + name, std::ios::binary) << left;
    }
  }

 private:
  struct Bytes {
    size_t at;
    std::string text;
  };
  struct File {
    std::string synced;
    std::vector<Bytes> written;
  };

  static void Put(const Bytes& bytes, std::string& contents) {
    contents.resize(std::max(contents.size(), bytes.at + bytes.text.size()));
    contents.replace(bytes.at, bytes.text.size(), bytes.text);
  }
  static void PutSome(const Bytes& bytes, std::mt19937& random, std::string& contents) {
    const unsigned kept = random() % 3;
    if (kept == 0) return;
    if (kept == 1) return Put(bytes, contents);
    for (size_t i = 0; i < bytes.text.size(); i += kSector) {
      if (random() % 2 == 0) Put({bytes.at + i, bytes.text.substr(i, kSector)}, contents);
    }
  }

  std::map<std::string, File> files_;
};

}  // namespace

TEST_F(LogTest, WriteAfterCheckpoint_ContinuesShortLogWithTwoSyncs) {
  Insert(0);
  Checkpoint();
  const std::string header = LogHeader();
  std::vector<std::string> synced;
  on_sync = [&synced](const std::string& file) { synced.push_back(file); };

  Insert(1);
  EXPECT_THAT(synced, SizeIs(0));
  Checkpoint();
  EXPECT_THAT(synced, ElementsAre(log_path, path));
  EXPECT_EQ(LogHeader(), header);
}

TEST_F(LogTest, WriteAfterCheckpoint_RestartsLogAtItsLimit) {
  const std::string header = LogHeader();
  for (int i = 0; i < 3 * kContinuedPages; ++i) {
    Insert(i);
    Checkpoint();
  }

  EXPECT_NE(LogHeader(), header);
  struct stat status = {};
  ASSERT_EQ(stat(log_path.c_str(), &status), 0);
  const int longest_commit = 5;
  EXPECT_LE(status.st_size, kLogHeader + (kContinuedPages + longest_commit) * kFrame);
}

TEST_F(LogTest, CheckpointThatRestartsTheLog_RestartsShortLog) {
  Insert(0);
  EXPECT_EQ(FirstField(Ask(db, "PRAGMA wal_checkpoint(TRUNCATE)"), "busy"), "0");

  struct stat status = {};
  ASSERT_EQ(stat(log_path.c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 0);
}

TEST_F(LogTest, PowerFailure_KeepsEveryCommitBeforeACheckpoint) {
  sqlite3_vfs* const vfs = sqlite3_vfs_find(nullptr);
  for (const char* name : {"pwrite", "pwrite64"}) {
    vfs->xSetSystemCall(vfs, name, reinterpret_cast<sqlite3_syscall_ptr>(Write));
  }
  const std::string header = LogHeader();
  Disk disk({path, log_path});
  std::mt19937 random(1);
  int kept = 0;
  const TempDir failed;
  const auto fail = [&] {
    disk.Fail(random, failed.Path(""));
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(failed.Path("test.db").c_str(), &connection), SQLITE_OK);
    std::string found;
    sqlite3_exec(
        connection,
        "PRAGMA synchronous = OFF; "
        "SELECT (SELECT * FROM pragma_integrity_check) || ' ' || count(*) FROM t",
        [](void* text, int, char** column, char**) {
          *static_cast<std::string*>(text) = *column;
          return 0;
        },
        &found, nullptr);
    sqlite3_close(connection);
    EXPECT_EQ(found.substr(0, 3), "ok ");
    EXPECT_THAT(atoi(found.substr(3).c_str()), Ge(kept));
  };
  on_write = [&](const std::string& file, const char* data, size_t size, off_t at) {
    if (disk.Write(file, data, size, at)) fail();
  };
  on_sync = [&](const std::string& file) {
    if (disk.Sync(file)) fail();
  };

  for (int i = 0; i < 200 && !HasFailure(); ++i) {
    Insert(i);
    Checkpoint();
    kept = i + 1;
  }
  vfs->xSetSystemCall(vfs, nullptr, nullptr);
  EXPECT_NE(LogHeader(), header);
}
