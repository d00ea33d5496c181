#include "utils/json_text.h"

#include <json/reader.h>
#include <json/writer.h>

#include <clocale>
#include <locale>
#include <utility>

namespace VEXO::sharing {

namespace {

/// The parser reads real numbers by the program's global C++ locale, where "1.5" need not
/// be one.  A program that has set another is given the plain one for as long as this
/// lives.
class PlainLocale {
 public:
  PlainLocale() {
    if (caller_ != std::locale::classic()) {
      std::locale::global(std::locale::classic());
    }
  }
  ~PlainLocale() {
    if (caller_ != std::locale::classic()) {
      std::locale::global(caller_);
      setlocale(LC_ALL, caller_c_.c_str());  // an unnamed C++ locale does not restore it
    }
  }
  PlainLocale(const PlainLocale&) = delete;
  PlainLocale& operator=(const PlainLocale&) = delete;

 private:
  const std::locale caller_;
  const std::string caller_c_ = setlocale(LC_ALL, nullptr);
};

}  // namespace

bool ParseJson(const std::string& text, Json::Value& out) {
  try {
    Json::Value value;
    Json::Reader reader;
    const PlainLocale plain;
    if (!reader.parse(text, value, false)) {
      return false;
    }
    out = std::move(value);
    return true;
  } catch (const Json::Exception&) {
    return false;  // nested too deep
  }
}

std::string JsonText(const Json::Value& value) {
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  writer["emitUTF8"] = true;
  return Json::writeString(writer, value);
}

}  // namespace VEXO::sharing
