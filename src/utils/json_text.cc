#include "utils/json_text.h"

#include <json/reader.h>
#include <json/writer.h>

#include <clocale>
#include <locale>
#include <utility>

namespace VEXO::sharing {

namespace {

/// Sets the classic C++ locale for the lifetime of the object, since the parser reads
/// real numbers in the global locale of the program.
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
      setlocale(LC_ALL,
                caller_c_.c_str());  // a C++ locale without a name does not restore it
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
    if (!reader.parse(text, value, false)) return false;
    out = std::move(value);
    return true;
  } catch (const Json::Exception&) {
    return false;  // nested too deeply
  }
}

std::string JsonText(const Json::Value& value) {
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  writer["emitUTF8"] = true;
  return Json::writeString(writer, value);
}

}  // namespace VEXO::sharing
