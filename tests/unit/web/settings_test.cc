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
  EXPECT_EQ(settings.address_in_log, web::AddressInLog::kNetwork);
  EXPECT_EQ(settings.thumbnail_bytes, 256U << 20);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(WebSettings, EachSetting_IsRead) {
  const Settings settings =
      Read("language = de\nworkers = 8 # cores\ndownloads=16\nthumbnail_cache = 1024\n");

  EXPECT_EQ(settings.language, "de");
  EXPECT_EQ(settings.workers, 8);
  EXPECT_EQ(settings.downloads, 16);
  EXPECT_EQ(settings.thumbnail_bytes, 1U << 30);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(WebSettings, AddressInTheLog_IsCutFullOrNone) {
  using web::AddressInLog;
  EXPECT_EQ(Read("log_address = full\n").address_in_log, AddressInLog::kFull);
  EXPECT_EQ(Read("log_address = none\n").address_in_log, AddressInLog::kNone);
  EXPECT_EQ(Read("log_address = full\nlog_address = network\n").address_in_log,
            AddressInLog::kNetwork);
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_EQ(Read("log_address = yes\n").address_in_log, AddressInLog::kNetwork);
  EXPECT_THAT(log_.lines(), ElementsAre(HasSubstr("must be network, full or none")));
}

TEST_F(WebSettings, WrongLines_AreLoggedAndIgnored) {
  const Settings settings = Read(
      "language = xx\nworkers = 0\ndownloads = x\nother = 1\nthumbnail_cache = 15\n");

  EXPECT_EQ(settings.language, "en");
  EXPECT_EQ(settings.workers, 4);
  EXPECT_EQ(settings.downloads, 64);
  EXPECT_THAT(log_.lines(), ElementsAre(HasSubstr(":1: line ignored: not a language"),
                                        HasSubstr(":2: line ignored: not a number"),
                                        HasSubstr(":3: line ignored: not a number"),
                                        HasSubstr(":4: line ignored: unknown setting"),
                                        HasSubstr(":5: line ignored: not a number")));
}

}  // namespace
