#pragma once

#include <string>
#include <vector>

namespace web {

/// The languages of the pages; the first one is that of the texts in the sources.
const std::vector<std::string>& Languages();

/// The language of the pages for an Accept-Language header (RFC 9110, 12.5.4): the one
/// with the highest weight, of several the first.  A header that names none of the
/// languages, and an absent one, mean `otherwise`.
std::string ChooseLanguage(const std::string& accepted, const std::string& otherwise);

/// Sets up the translations, which are in `folder`.  Called once, before UseLanguage.
void LoadTranslations(const std::string& folder);

/// Makes this language the one of Translate.
void UseLanguage(const std::string& language);

/// The language of the last UseLanguage.
const std::string& CurrentLanguage();

/// The text in the current language.
std::string Translate(const char* text);

/// The same for a text that is translated in another way elsewhere.
std::string TranslateIn(const char* context, const char* text);

/// The form of the text that `number` needs.
std::string TranslateCount(const char* one, const char* many, unsigned long number);

}  // namespace web
