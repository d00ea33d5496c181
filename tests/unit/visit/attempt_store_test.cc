#include "visit/attempt_store.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <ctime>
#include <string>
#include <vector>

#include "child_process.h"
#include "fake_platform.h"
#include "log_capture.h"
#include "sql_value.h"
#include "temp_dir.h"

namespace VEXO::sharing {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;
using Result = AttemptStore::Result;

class AttemptStoreTest : public testing::Test {
 protected:
  AttemptStoreTest() { platform_.ids = {1, 1, 1, 1}; }

  Result Add(const std::string& subject, int limit) {
    return store_.Add(subject, limit).result;
  }
  Result Begin(const std::string& subject, int limit) {
    return store_.Begin(subject, limit).result;
  }
  std::string Sql(const std::string& sql) {
    return fakes::SqlValue(folder_.Path("visit.db"), sql);
  }
  void MoveTimes(long seconds) {
    Sql("UPDATE attempt SET at = at + " + std::to_string(seconds));
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  fakes::TempDir folder_;
  AttemptStore store_{folder_.Path(".")};
};

TEST_F(AttemptStoreTest, Add_LimitOfTheSubject_IsNotExceeded) {
  EXPECT_EQ(Result::kAdded, Add("subject", 2));
  EXPECT_EQ(Result::kAdded, Add("subject", 2));
  EXPECT_EQ(Result::kLimitReached, Add("subject", 2));
  EXPECT_EQ(Result::kAdded, Add("other", 2));
  EXPECT_EQ("3", Sql("SELECT COUNT(*) FROM attempt"));
}

TEST_F(AttemptStoreTest, Add_ManyProcessesAtOnce_TheLimitIsExact) {
  constexpr int kSubjects = 100;
  std::vector<pid_t> children(8);
  for (pid_t& child : children) {
    child = fakes::StartChild([this] {
      for (int i = 0; i < kSubjects; ++i) Add(std::to_string(i), 1);
      return true;
    });
  }
  for (const pid_t child : children) EXPECT_TRUE(fakes::EndsWell(child));

  EXPECT_EQ(std::to_string(kSubjects), Sql("SELECT COUNT(*) FROM attempt"));
}

TEST_F(AttemptStoreTest, Add_LimitReached_TellsWhenTheOldestAttemptExpires) {
  Add("subject", 2);
  MoveTimes(-100);
  Add("subject", 2);

  EXPECT_THAT(store_.Add("subject", 2).seconds_left, AllOf(Ge(190), Le(200)));
}

TEST_F(AttemptStoreTest, Add_AfterFiveMinutes_CountsAgain) {
  Add("subject", 1);
  MoveTimes(-290);
  EXPECT_EQ(Result::kLimitReached, Add("subject", 1));
  MoveTimes(-10);
  EXPECT_EQ(Result::kAdded, Add("subject", 1));
}

TEST_F(AttemptStoreTest, Add_ExpiredRowsThatAreLeft_DoNotCount) {
  for (int i = 0; i < 10; ++i) Add("subject", 10);
  MoveTimes(-300);

  EXPECT_EQ(Result::kAdded, Add("subject", 1));
}

TEST_F(AttemptStoreTest, Add_ExpiredRows_AreRemovedAFewAtATime) {
  for (int i = 0; i < 10; ++i) Add("subject", 100);
  MoveTimes(-1000);

  Add("subject", 100);
  EXPECT_EQ("7", Sql("SELECT COUNT(*) FROM attempt"));
  for (int i = 0; i < 5; ++i) Add("subject", 100);
  EXPECT_EQ("6", Sql("SELECT COUNT(*) FROM attempt"));
}

TEST_F(AttemptStoreTest, Add_ClockWasSetBack_LaterAttemptsCountFromNow) {
  Add("subject", 1);
  MoveTimes(1000);

  EXPECT_THAT(store_.Add("subject", 1).seconds_left, AllOf(Ge(299), Le(300)));
  MoveTimes(-300);
  EXPECT_EQ(Result::kAdded, Add("subject", 1));
}

TEST_F(AttemptStoreTest, Begin_PendingAttemptsReachTheLimit_IsBusy) {
  EXPECT_EQ(Result::kAdded, Begin("subject", 2));
  EXPECT_EQ(Result::kAdded, Begin("subject", 2));
  EXPECT_EQ(Result::kBusy, Begin("subject", 2));
  EXPECT_EQ(Result::kAdded, Begin("other", 2));
  EXPECT_EQ("3", Sql("SELECT COUNT(*) FROM attempt"));
}

TEST_F(AttemptStoreTest, Begin_FailedAndPendingAttemptsReachTheLimit_IsBusy) {
  Add("subject", 3);
  Begin("subject", 3);
  Add("subject", 3);

  EXPECT_EQ(Result::kBusy, Begin("subject", 3));
}

TEST_F(AttemptStoreTest, Begin_FailedAttemptsReachTheLimit_IsRefused) {
  Begin("subject", 3);
  MoveTimes(-20);
  Add("subject", 3);
  MoveTimes(-5);
  Add("subject", 3);
  EXPECT_EQ(Result::kBusy, Begin("subject", 3));
  MoveTimes(-5);
  Add("subject", 3);

  const AttemptStore::Attempt attempt = store_.Begin("subject", 3);

  EXPECT_EQ(Result::kLimitReached, attempt.result);
  EXPECT_THAT(attempt.seconds_left, AllOf(Ge(288), Le(290)));
}

TEST_F(AttemptStoreTest, Begin_AttemptOfAKilledProcess_IsForgottenAfterHalfAMinute) {
  Begin("subject", 1);
  MoveTimes(-20);
  EXPECT_EQ(Result::kBusy, Begin("subject", 1));
  MoveTimes(-10);
  EXPECT_EQ(Result::kAdded, Begin("subject", 1));
}

TEST_F(AttemptStoreTest, Begin_ClockWasSetBack_PendingAttemptsCountFromNow) {
  Begin("subject", 1);
  MoveTimes(1000);
  EXPECT_EQ(Result::kBusy, Begin("subject", 1));
  MoveTimes(-30);
  EXPECT_EQ(Result::kAdded, Begin("subject", 1));
}

TEST_F(AttemptStoreTest, MarkFailed_AttemptCountsForFiveMinutes) {
  store_.MarkFailed(store_.Begin("subject", 1).id);

  EXPECT_EQ(Result::kLimitReached, Begin("subject", 1));
  MoveTimes(-290);
  EXPECT_EQ(Result::kLimitReached, Begin("subject", 1));
  MoveTimes(-10);
  EXPECT_EQ(Result::kAdded, Begin("subject", 1));
}

TEST_F(AttemptStoreTest, MarkFailed_AttemptThatTookLong_Counts) {
  const AttemptStore::Attempt attempt = store_.Begin("subject", 1);
  MoveTimes(-100);
  Begin("other", 1);

  store_.MarkFailed(attempt.id);

  EXPECT_EQ(Result::kLimitReached, Begin("subject", 1));
}

TEST_F(AttemptStoreTest, Remove_AttemptIsTakenBack) {
  store_.Remove(store_.Begin("subject", 1).id);
  store_.Remove(store_.Add("subject", 1).id);

  EXPECT_EQ(Result::kAdded, Add("subject", 1));
}

TEST_F(AttemptStoreTest, File_HasNoSubjects) {
  Add("missing 192.0.2.7 hash", 1);

  EXPECT_EQ("64", Sql("SELECT length(subject) FROM attempt"));
}

TEST_F(AttemptStoreTest, File_IsForOwnerAndGroupWhateverTheMask) {
  const mode_t mask = umask(0077);
  Add("subject", 1);
  umask(mask);

  struct stat status = {};
  ASSERT_EQ(0, stat(folder_.Path("visit.db").c_str(), &status));
  EXPECT_EQ(0660U, status.st_mode & 07777);
}

TEST_F(AttemptStoreTest, Add_FolderIsMissing_FailsAndIsLoggedOnce) {
  AttemptStore store(folder_.Path("missing"));

  EXPECT_EQ(Result::kFailed, store.Add("subject", 1).result);
  EXPECT_EQ(Result::kFailed, store.Add("subject", 1).result);
  EXPECT_THAT(log_.lines(), ElementsAre(HasSubstr("visit.db: No such file")));
}

TEST_F(AttemptStoreTest, Add_CannotWrite_Fails) {
  Add("subject", 9);
  Sql("CREATE TRIGGER refuse BEFORE INSERT ON attempt "
      "BEGIN SELECT RAISE(ABORT, 'refused'); END");

  EXPECT_EQ(Result::kFailed, Add("subject", 9));
}

TEST_F(AttemptStoreTest, Add_FileIsNoDatabase_IsReplaced) {
  folder_.Write("visit.db", std::string(4096, 'x'));

  EXPECT_EQ(Result::kAdded, Add("subject", 1));
  EXPECT_EQ(Result::kLimitReached, Add("subject", 1));
  EXPECT_THAT(log_.lines(), ElementsAre(HasSubstr("damaged, deleted")));
}

}  // namespace
}  // namespace VEXO::sharing
