#include "admin/database_access.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <string>

#include "entry_db.h"
#include "log_capture.h"
#include "system_test.h"

namespace admin {
namespace {

namespace fs = std::filesystem;

using system_test::InChild;
using system_test::OwnerAndMode;
using system_test::ReadFile;
using system_test::WriteFile;
using testing::HasSubstr;
using VEXO::sharing::db::EntryDB;

constexpr char kFolder[] = "/tmp/databases";

std::string Path(const std::string& name) { return std::string(kFolder) + "/" + name; }

/// A connection of SQLite's own; what it writes stays in the log while it is open.
Connection Open(const std::string& path, const std::string& sql) {
  Connection connection(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  EXPECT_EQ(connection.Run("PRAGMA wal_autocheckpoint = 0; " + sql), SQLITE_OK)
      << sqlite3_errmsg(connection.get());
  return connection;
}

std::string Schema() {
  return ReadFile(std::string(system_test::kSchemaFolder) + "/1.sql") +
         ReadFile(std::string(system_test::kSchemaFolder) + "/2.sql");
}

/// Names, owners, modes and bytes of the files in a folder.
std::map<std::string, std::string> Files(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string path = entry.path();
    files[path] =
        OwnerAndMode(path) + (entry.is_regular_file() ? " " + ReadFile(path) : "");
  }
  return files;
}

/// Gives the file to the user and the group of this id.
void SetAccess(const std::string& path, unsigned int id, mode_t mode) {
  EXPECT_EQ(chown(path.c_str(), id, id), 0) << path;
  EXPECT_EQ(chmod(path.c_str(), mode), 0) << path;
}

class Database : public testing::Test {
 protected:
  Database() { fs::create_directory(kFolder); }
  ~Database() override {
    EXPECT_TRUE(PrivateFolders().empty());
    fs::remove_all(kFolder);
  }

  static std::map<std::string, std::string> PrivateFolders() {
    std::map<std::string, std::string> found;
    for (const fs::directory_entry& entry : fs::directory_iterator("/tmp")) {
      if (entry.path().filename().string().rfind("vexosharing.", 0) == 0) {
        found[entry.path()] = "";
      }
    }
    return found;
  }

  /// What the file holds.  Neither it nor its folder may be touched.
  static DatabaseContent Content(const std::string& path) {
    const auto before = Files(kFolder);
    const DatabaseContent content = ContentOf(path);
    const int reason = errno;
    EXPECT_EQ(Files(kFolder), before);
    errno = reason;
    return content;
  }

  fakes::LogCapture log_;
};

using DatabaseContentTest = Database;

TEST_F(DatabaseContentTest, MissingOrEmptyFile_HoldsNothing) {
  EXPECT_EQ(Content(Path("missing")), DatabaseContent::kNothing);
  WriteFile(Path("empty"), "");
  EXPECT_EQ(Content(Path("empty")), DatabaseContent::kNothing);
}

TEST_F(DatabaseContentTest, DatabaseWithoutTables_HoldsNothing) {
  Open(Path("a.db"), "PRAGMA journal_mode = DELETE; VACUUM");
  EXPECT_GT(fs::file_size(Path("a.db")), 0U);
  EXPECT_EQ(Content(Path("a.db")), DatabaseContent::kNothing);
}

TEST_F(DatabaseContentTest, OtherFile_IsNoDatabase) {
  const std::string texts[] = {"x", "SQLite format 3", std::string(5000, 'x'),
                               std::string(5000, '\0')};
  for (const std::string& text : texts) {
    WriteFile(Path("file"), text);
    EXPECT_EQ(Content(Path("file")), DatabaseContent::kNotDatabase);
  }
}

TEST_F(DatabaseContentTest, SchemaOfTheLibrary_HoldsLinks) {
  Open(Path("a.db"), Schema());
  EXPECT_EQ(Content(Path("a.db")), DatabaseContent::kLinks);
}

TEST_F(DatabaseContentTest, LinksOnlyInTheLog_AreFound) {
  const Connection open = Open(Path("a.db"), "PRAGMA journal_mode = WAL;" + Schema());
  ASSERT_EQ(ReadFile(Path("a.db")).find("CREATE TABLE"), std::string::npos);
  EXPECT_EQ(Content(Path("a.db")), DatabaseContent::kLinks);
}

TEST_F(DatabaseContentTest, LogIsBeingMovedIntoTheFile_HoldsLinks) {
  Open(Path("a.db"), Schema() + "PRAGMA journal_mode = WAL");
  fs::resize_file(Path("a.db"), 4096);  // the first page is written, the others are not
  WriteFile(Path("a.db-wal"), std::string(32, 'x'));
  EXPECT_EQ(Content(Path("a.db")), DatabaseContent::kLinks);
  fs::remove(Path("a.db-wal"));
  EXPECT_EQ(Content(Path("a.db")), DatabaseContent::kLinks);
}

TEST_F(DatabaseContentTest, TablesOfTheSameNames_AreForeign) {
  Open(Path("a.db"), Schema() + "PRAGMA application_id = 0;");
  EXPECT_EQ(Content(Path("a.db")), DatabaseContent::kForeign);
  Open(Path("a.db"), "PRAGMA application_id = 1;");
  EXPECT_EQ(Content(Path("a.db")), DatabaseContent::kForeign);
}

TEST_F(DatabaseContentTest, ForeignTableOnlyInTheLog_IsFound) {
  const Connection open =
      Open(Path("a.db"), "PRAGMA journal_mode = WAL; CREATE TABLE mine(a)");
  ASSERT_EQ(ReadFile(Path("a.db")).find("CREATE TABLE"), std::string::npos);
  EXPECT_EQ(Content(Path("a.db")), DatabaseContent::kForeign);
}

TEST_F(DatabaseContentTest, LogWithoutTables_HoldsNothing) {
  const Connection open =
      Open(Path("a.db"), "PRAGMA journal_mode = WAL; PRAGMA user_version = 5");
  ASSERT_GT(fs::file_size(Path("a.db-wal")), 0U);
  EXPECT_EQ(Content(Path("a.db")), DatabaseContent::kNothing);
}

TEST_F(DatabaseContentTest, FirstPageThatLeadsToOthers_IsForeign) {
  std::string sql;
  for (int i = 0; i < 200; ++i) sql += "CREATE TABLE t" + std::to_string(i) + "(a);";
  Open(Path("a.db"), sql);
  std::string bytes = ReadFile(Path("a.db"));
  ASSERT_EQ(bytes[100], 5);  // an interior page
  EXPECT_EQ(Content(Path("a.db")), DatabaseContent::kForeign);

  bytes.replace(103, 2, std::string(2, '\0'));  // which may have no cells
  WriteFile(Path("a.db"), bytes);
  EXPECT_EQ(Content(Path("a.db")), DatabaseContent::kForeign);
}

TEST_F(DatabaseContentTest, DamagedDatabaseWithALog_IsUnknown) {
  {
    const Connection open =
        Open(Path("a.db"), "PRAGMA journal_mode = WAL; CREATE TABLE mine(a)");
    fs::copy_file(Path("a.db-wal"), Path("b.db-wal"));
  }
  std::string bytes = ReadFile(Path("a.db"));
  bytes.replace(16, 2, "\x00\x07", 2);  // an impossible page size
  WriteFile(Path("b.db"), bytes);
  fs::resize_file(Path("b.db-wal"), 10);

  EXPECT_EQ(Content(Path("b.db")), DatabaseContent::kUnknown);
  EXPECT_EQ(errno, EIO);
}

TEST_F(DatabaseContentTest, FolderAndFifo_AreUnknown) {
  EXPECT_EQ(Content(kFolder), DatabaseContent::kUnknown);
  EXPECT_EQ(errno, EISDIR);
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
  EXPECT_EQ(ContentOf(Path("fifo")), DatabaseContent::kUnknown);
  EXPECT_EQ(errno, EINVAL);
  fs::remove(Path("fifo"));
}

TEST_F(DatabaseContentTest, UnreadableFile_IsUnknown) {
  Open(Path("a.db"), Schema());
  chmod(Path("a.db").c_str(), 0600);

  const auto answer = InChild(system_test::Neither(), [] {
    const DatabaseContent content = ContentOf(Path("a.db"));
    return std::to_string(content == DatabaseContent::kUnknown && errno == EACCES);
  });
  EXPECT_EQ(answer.text, "1");
}

class DatabaseAccessTest : public Database {
 protected:
  DatabaseAccessTest() { SetAccess(kFolder, 1, 0750); }

  /// A database with one link, as the library creates it.
  static void Create(const std::string& path) {
    DatabaseAccess access;
    const Error error = access.Open(path, Access::kCreate);
    ASSERT_FALSE(error) << error.Text();
    VEXO::sharing::record::Entry link = system_test::Link("stored");
    ASSERT_TRUE(EntryDB(access.database()).Create(link));
  }

  /// The hash of the one link, or the error.
  static std::string ReadLink(const std::string& path, Access mode = Access::kRead) {
    DatabaseAccess access;
    if (const Error error = access.Open(path, mode)) return error.code;
    VEXO::sharing::record::Entry link;
    return EntryDB(access.database()).GetByHash("stored", link) ? link.get_hash()
                                                                : "no link";
  }

  static Error Failure(const std::string& path, Access mode) {
    DatabaseAccess access;
    return access.Open(path, mode);
  }

  /// Makes the file what root's own copy of it would be, in a folder of root's.
  static void GiveToRoot(const std::string& path) {
    fs::remove(path + "-lock");
    SetAccess(path, 0, 0600);
    SetAccess(kFolder, 0, 0500);
  }
};

TEST_F(DatabaseAccessTest, Create_NoFile_CreatesADatabaseOfTheSystemAccount) {
  Create(Path("a.db"));
  EXPECT_EQ(OwnerAndMode(Path("a.db")), "660 1:1");
  EXPECT_EQ(ContentOf(Path("a.db")), DatabaseContent::kLinks);
  for (const Access mode : {Access::kRead, Access::kWrite, Access::kCreate}) {
    EXPECT_EQ(ReadLink(Path("a.db"), mode), "stored");
  }
}

TEST_F(DatabaseAccessTest, MissingOrEmptyDatabase_IsOnlyCreated) {
  WriteFile(Path("empty"), "");
  for (const char* const name : {"missing", "empty"}) {
    for (const Access mode : {Access::kRead, Access::kWrite}) {
      EXPECT_EQ(ReadLink(Path(name), mode), kNoDatabase);
    }
  }
  EXPECT_FALSE(fs::exists(Path("missing")));
}

TEST_F(DatabaseAccessTest, BackupOfRootInAReadOnlyFolder_IsReadAndLeftAsItIs) {
  Create(Path("a.db"));
  GiveToRoot(Path("a.db"));
  const auto before = Files(kFolder);

  EXPECT_EQ(ReadLink(Path("a.db")), "stored");
  EXPECT_EQ(Files(kFolder), before);
  EXPECT_EQ(OwnerAndMode(kFolder), "500 0:0");
}

TEST_F(DatabaseAccessTest, BackupOfTheSystemAccount_IsReadAndLeftAsItIs) {
  Create(Path("a.db"));
  Open(Path("a.db"), "PRAGMA journal_mode = DELETE");  // one file, as a backup is
  fs::remove(Path("a.db-lock"));
  const auto before = Files(kFolder);
  ASSERT_EQ(before.size(), 1U);

  EXPECT_EQ(ReadLink(Path("a.db")), "stored");
  EXPECT_EQ(Files(kFolder), before);
}

TEST_F(DatabaseAccessTest, BackupWithItsLog_IsReadWithTheLog) {
  {
    Create(Path("a.db"));
    const Connection open =
        Open(Path("a.db"), "UPDATE entry SET project_name = 'in the log'");
    fs::copy_file(Path("a.db"), Path("b.db"));
    fs::copy_file(Path("a.db-wal"), Path("b.db-wal"));
  }
  GiveToRoot(Path("b.db"));
  const auto before = Files(kFolder);

  DatabaseAccess access;
  ASSERT_FALSE(access.Open(Path("b.db"), Access::kRead));
  VEXO::sharing::record::Entry link;
  EXPECT_TRUE(EntryDB(access.database()).GetByHash("stored", link));
  EXPECT_EQ(link.get_project_name(), "in the log");
  EXPECT_EQ(Files(kFolder), before);
}

TEST_F(DatabaseAccessTest, CopyOfABackup_IsPrivateToTheSystemAccount) {
  Create(Path("a.db"));
  GiveToRoot(Path("a.db"));
  DatabaseAccess access;
  ASSERT_FALSE(access.Open(Path("a.db"), Access::kRead));

  const auto folders = PrivateFolders();
  ASSERT_EQ(folders.size(), 1U);
  const std::string folder = folders.begin()->first;
  EXPECT_EQ(OwnerAndMode(folder), "700 1:1");
  EXPECT_EQ(OwnerAndMode(folder + "/copy.db"), "600 1:1");
}

TEST_F(DatabaseAccessTest, DatabaseOfRoot_IsNotWritten) {
  Create(Path("a.db"));
  GiveToRoot(Path("a.db"));
  const auto before = Files(kFolder);

  for (const Access mode : {Access::kWrite, Access::kCreate}) {
    const Error error = Failure(Path("a.db"), mode);
    EXPECT_EQ(error.code, kDatabaseNotUsable);
    EXPECT_THAT(error.hint, HasSubstr("chown 1:1"));
  }
  EXPECT_EQ(Files(kFolder), before);
}

TEST_F(DatabaseAccessTest, WrongModeOrFolder_IsExplained) {
  Create(Path("a.db"));
  chmod(Path("a.db").c_str(), 0440);
  EXPECT_THAT(Failure(Path("a.db"), Access::kWrite).hint, HasSubstr("chmod 660"));
  EXPECT_EQ(ReadLink(Path("a.db")), "stored");
  chmod(Path("a.db").c_str(), 0660);
  chmod(kFolder, 0550);
  EXPECT_THAT(Failure(Path("a.db"), Access::kWrite).message, HasSubstr(kFolder));
  EXPECT_THAT(Failure(Path("none/a.db"), Access::kCreate).message, HasSubstr("none"));
}

TEST_F(DatabaseAccessTest, OtherFiles_AreNeverTouched) {
  Open(Path("foreign.db"), "CREATE TABLE entry(id)");
  WriteFile(Path("text"), std::string(5000, 'x'));
  fs::create_directory(Path("folder"));
  for (const char* const name : {"foreign.db", "text", "folder"}) {
    SetAccess(Path(name), 1, 0770);
    const auto before = Files(kFolder);
    for (const Access mode : {Access::kRead, Access::kWrite, Access::kCreate}) {
      EXPECT_EQ(Failure(Path(name), mode).code, kDatabaseNotUsable) << name;
    }
    EXPECT_EQ(Files(kFolder), before) << name;
  }
}

TEST_F(DatabaseAccessTest, OtherAccount_IsNotPermitted) {
  const auto answer = InChild(system_test::Neither(), [] {
    return CheckCaller().code + " " + ReadLink(Path("missing"), Access::kCreate);
  });
  EXPECT_EQ(answer.text, "not_permitted not_permitted");
}

TEST_F(DatabaseAccessTest, SystemAccount_IsPermitted) {
  Create(Path("a.db"));
  const auto answer =
      InChild(system_test::System(), [] { return ReadLink(Path("a.db")); });
  EXPECT_EQ(answer.text, "stored");
}

TEST_F(DatabaseAccessTest, SystemAccountWithoutReadPermission_IsToldSo) {
  Create(Path("a.db"));
  SetAccess(Path("a.db"), 0, 0600);
  const auto answer = InChild(
      system_test::System(), [] { return Failure(Path("a.db"), Access::kRead).message; });
  EXPECT_THAT(answer.text, HasSubstr("Permission denied"));
}

TEST_F(DatabaseAccessTest, RootWithoutACapability_IsToldWhichAreRequired) {
  Create(Path("a.db"));
  for (const unsigned int capability : {CAP_SETUID, CAP_SETGID}) {
    const auto answer = InChild(system_test::Root(), [capability] {
      __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
      __user_cap_data_struct data[2] = {};
      if (syscall(SYS_capget, &header, data) != 0) return std::string("capget");
      data[0].effective &= ~(1U << capability);
      data[0].permitted &= ~(1U << capability);
      if (syscall(SYS_capset, &header, data) != 0) return std::string("capset");
      const Error error = Failure(Path("a.db"), Access::kRead);
      return error.code + ": " + error.Text() + " " + std::to_string(geteuid()) + ":" +
             std::to_string(getegid());
    });
    EXPECT_EQ(answer.text,
              "not_permitted: cannot switch to the system account: Operation not "
              "permitted; CAP_SETUID and CAP_SETGID are required 0:0");
  }
}

}  // namespace
}  // namespace admin
