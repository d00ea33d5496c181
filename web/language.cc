#include "language.h"

#include <libintl.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>

#include "base/text.h"

// A counter of the C library, documented in the gettext manual: texts are looked up again
// after it has changed.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): its name
extern "C" int _nl_msg_cat_cntr;

namespace web {
namespace {

const char kDomain[] = "vexosharing-web";

std::string& Current() {
  static std::string& current = *new std::string("en");
  return current;
}

/// A weight in thousandths; 0, which refuses the language, for anything that is none.
int ReadWeight(const std::string& text) {
  if (text == "1" || text.rfind("1.", 0) == 0) return 1000;
  if (text.rfind("0.", 0) != 0 || text.size() > 5) return 0;
  int weight = 0;
  for (size_t i = 2; i < 5; ++i) {
    const char c = i < text.size() ? text[i] : '0';
    if (c < '0' || c > '9') return 0;
    weight = weight * 10 + (c - '0');
  }
  return weight;
}

int WeightOf(const std::vector<std::string>& parts) {
  for (size_t i = 1; i < parts.size(); ++i) {
    const std::string parameter = VEXO::base::ToLowerAscii(parts[i]);
    if (parameter.rfind("q=", 0) == 0) return ReadWeight(parameter.substr(2));
  }
  return 1000;
}

}  // namespace

const std::vector<std::string>& Languages() {
  static const std::vector<std::string>& languages =
      *new std::vector<std::string>{"en", "de", "fr", "es", "zh", "ja"};
  return languages;
}

std::string ChooseLanguage(const std::string& accepted, const std::string& otherwise) {
  std::string chosen = otherwise;
  int highest = 0;
  for (const std::string& range : VEXO::base::Split(accepted, ",")) {
    const std::vector<std::string> parts = VEXO::base::Split(range, ";");
    std::string name = VEXO::base::ToLowerAscii(parts.front());
    name.resize(std::min(name.find('-'), name.size()));
    if (name == "*") name = otherwise;
    const int weight = WeightOf(parts);
    const std::vector<std::string>& known = Languages();
    if (weight > highest && std::find(known.begin(), known.end(), name) != known.end()) {
      highest = weight;
      chosen = name;
    }
  }
  return chosen;
}

void LoadTranslations(const std::string& folder) {
  // Any locale but "C", in which nothing is translated.
  setlocale(LC_CTYPE, "C.UTF-8");
  setlocale(LC_MESSAGES, "C.UTF-8");
  bindtextdomain(kDomain, folder.c_str());
  bind_textdomain_codeset(kDomain, "UTF-8");
}

void UseLanguage(const std::string& language) {
  setenv("LANGUAGE", language.c_str(), 1);
  ++_nl_msg_cat_cntr;
  Current() = language;
}

const std::string& CurrentLanguage() { return Current(); }

std::string Translate(const char* text) { return dgettext(kDomain, text); }

std::string TranslateIn(const char* context, const char* text) {
  const std::string key = std::string(context) + "\004" + text;  // as in a .mo file
  const std::string found = Translate(key.c_str());
  return found == key ? text : found;
}

std::string TranslateCount(const char* one, const char* many, unsigned long number) {
  return dngettext(kDomain, one, many, number);
}

}  // namespace web
