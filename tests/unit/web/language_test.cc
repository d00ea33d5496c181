#include "web/language.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

using web::ChooseLanguage;

TEST(ChooseLanguage, HighestWeight_IsChosen) {
  const std::pair<const char*, const char*> cases[] = {
      {"de", "de"},
      {"de-CH, en;q=0.8", "de"},
      {"en;q=0.2, ja;q=0.9, de;q=0.5", "ja"},
      {"pt, fr;q=0.001", "fr"},
      {"ZH-Hans-CN", "zh"},
      {"fr;q=1, de;q=1.0", "fr"},
      {"fr ; q=0.5 , de ; q=0.6", "de"},
      {"fr;level=1;q=0.3, es;Q=0.4", "es"}};
  for (const auto& [header, language] : cases) {
    EXPECT_EQ(ChooseLanguage(header, "en"), language) << header;
  }
}

TEST(ChooseLanguage, NoLanguageOfThePages_IsTheOther) {
  for (const char* const header : {"", "pt", "deu", "de;q=0", "de;q=x", "de;q=2",
                                   "de;q=0.0001", "*", ",", ";", ";q=1", "-", "d"}) {
    EXPECT_EQ(ChooseLanguage(header, "fr"), "fr") << header;
  }
}

TEST(Translate, WithoutTranslations_IsTheText) {
  web::LoadTranslations("/nonexistent");
  web::UseLanguage("de");

  EXPECT_EQ(web::CurrentLanguage(), "de");
  EXPECT_EQ(web::Translate("Log in"), "Log in");
  EXPECT_EQ(web::TranslateIn("decimal point", "."), ".");
  EXPECT_EQ(web::TranslateCount("{count} file", "{count} files", 1), "{count} file");
  EXPECT_EQ(web::TranslateCount("{count} file", "{count} files", 2), "{count} files");
}

TEST(Translate, LanguageChange_AppliesToTheNextCall) {
  web::LoadTranslations(TRANSLATIONS);
  const std::pair<const char*, const char*> cases[] = {
      {"de", "Anmelden"}, {"en", "Log in"}, {"ja", "ログイン"}, {"de", "Anmelden"}};
  for (const auto& [language, text] : cases) {
    web::UseLanguage(language);
    EXPECT_EQ(web::Translate("Log in"), text);
  }
}

}  // namespace
