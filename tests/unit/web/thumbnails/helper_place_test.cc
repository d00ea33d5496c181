#include "web/thumbnails/helper_place.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <optional>

#include "log_capture.h"
#include "temp_dir.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using web::Deadline;
using web::HelperPlace;

/// A folder that the system account can write to, as whom root acts.
class HelperPlaces : public testing::Test {
 protected:
  HelperPlaces() {
    if (geteuid() == 0) {
      EXPECT_EQ(chown(folder_.Path(".").c_str(), 1, 1), 0);
    }
  }

  bool Take(HelperPlace* place, int count) {
    return place->Take(path_, count, Deadline(std::chrono::milliseconds(50)));
  }

  fakes::TempDir folder_;
  fakes::LogCapture log_;
  std::string path_ = folder_.Path("places");
};

TEST_F(HelperPlaces, AsManyAsThereAre_CanBeTaken) {
  HelperPlace first;
  HelperPlace second;
  HelperPlace third;

  EXPECT_TRUE(Take(&first, 2));
  EXPECT_TRUE(Take(&second, 2));
  EXPECT_FALSE(Take(&third, 2));
  EXPECT_THAT(log_.lines(), testing::IsEmpty());
}

TEST_F(HelperPlaces, PlaceThatIsGivenBack_CanBeTakenAgain) {
  std::optional<HelperPlace> first(std::in_place);
  HelperPlace second;

  ASSERT_TRUE(Take(&*first, 1));
  first.reset();
  EXPECT_TRUE(Take(&second, 1));
}

TEST_F(HelperPlaces, FileThatCannotBeUsed_IsLogged) {
  path_ = folder_.Path("none/places");
  HelperPlace place;

  EXPECT_FALSE(Take(&place, 2));
  EXPECT_THAT(log_.lines(), ElementsAre(HasSubstr(path_)));
}

}  // namespace
