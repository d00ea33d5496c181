#include "web/settings.h"

#include <gmock/gmock.h>

#include <fstream>

#include "log_capture.h"
#include "temp_dir.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using web::ReadSettings;
using web::Settings;

class WebSettings : public testing::Test {
 protected:
  Settings Read(const std::string& text) {
    const std::string path = folder_.Path("web.conf");
    std::ofstream(path) << text;
    return ReadSettings(path);
  }

  fakes::TempDir folder_;
  fakes::LogCapture log_;
};

TEST_F(WebSettings, MissingFile_MeansTheDefaults) {
  const Settings settings = ReadSettings(folder_.Path("none"));

  EXPECT_EQ(settings.language, "en");
  EXPECT_EQ(settings.workers, 4);
  EXPECT_EQ(settings.downloads, 64);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(WebSettings, EachSetting_IsRead) {
  const Settings settings = Read("language = de\nworkers = 8 # cores\ndownloads=16\n");

  EXPECT_EQ(settings.language, "de");
  EXPECT_EQ(settings.workers, 8);
  EXPECT_EQ(settings.downloads, 16);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(WebSettings, WrongLines_AreLoggedAndIgnored) {
  const Settings settings =
      Read("language = xx\nworkers = 0\ndownloads = x\nother = 1\n");

  EXPECT_EQ(settings.language, "en");
  EXPECT_EQ(settings.workers, 4);
  EXPECT_EQ(settings.downloads, 64);
  EXPECT_THAT(log_.lines(), ElementsAre(HasSubstr(":1: line ignored: not a language"),
                                        HasSubstr(":2: line ignored: not a number"),
                                        HasSubstr(":3: line ignored: not a number"),
                                        HasSubstr(":4: line ignored: unknown setting")));
}

}  // namespace
