#include "web/thumbnails/helper_slot.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <optional>

#include "log_capture.h"
#include "temp_dir.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using web::Deadline;
using web::HelperSlot;

/// A folder that the system account can write to, as whom root acts.
class HelperSlots : public testing::Test {
 protected:
  HelperSlots() {
    if (geteuid() == 0) {
      EXPECT_EQ(chown(folder_.Path(".").c_str(), 1, 1), 0);
    }
  }

  bool Take(HelperSlot* slot, int count) {
    return slot->Take(path_, count, Deadline(std::chrono::milliseconds(50)));
  }

  fakes::TempDir folder_;
  fakes::LogCapture log_;
  std::string path_ = folder_.Path("places");
};

TEST_F(HelperSlots, AsManyAsThereAre_CanBeTaken) {
  HelperSlot first;
  HelperSlot second;
  HelperSlot third;

  EXPECT_TRUE(Take(&first, 2));
  EXPECT_TRUE(Take(&second, 2));
  EXPECT_FALSE(Take(&third, 2));
  EXPECT_THAT(log_.lines(), testing::IsEmpty());
}

TEST_F(HelperSlots, SlotThatIsGivenBack_CanBeTakenAgain) {
  std::optional<HelperSlot> first(std::in_place);
  HelperSlot second;

  ASSERT_TRUE(Take(&*first, 1));
  first.reset();
  EXPECT_TRUE(Take(&second, 1));
}

TEST_F(HelperSlots, FileThatCannotBeUsed_IsLogged) {
  path_ = folder_.Path("none/places");
  HelperSlot slot;

  EXPECT_FALSE(Take(&slot, 2));
  EXPECT_THAT(log_.lines(), ElementsAre(HasSubstr(path_)));
}

}  // namespace
