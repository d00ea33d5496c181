#include "web/files/content_type.h"

#include <algorithm>
#include <iterator>

#include "base/text.h"

namespace web {
namespace {

struct Media {
  std::string_view ending;
  const char* type;
  Preview preview;
};

constexpr Media kMedia[] = {
    {"png", "image/png", Preview::kPicture},   {"jpg", "image/jpeg", Preview::kPicture},
    {"jpeg", "image/jpeg", Preview::kPicture}, {"gif", "image/gif", Preview::kPicture},
    {"webp", "image/webp", Preview::kPicture}, {"avif", "image/avif", Preview::kPicture},
    {"bmp", "image/bmp", Preview::kPicture},   {"mp3", "audio/mpeg", Preview::kAudio},
    {"ogg", "audio/ogg", Preview::kAudio},     {"wav", "audio/wav", Preview::kAudio},
    {"flac", "audio/flac", Preview::kAudio},   {"m4a", "audio/mp4", Preview::kAudio},
    {"mp4", "video/mp4", Preview::kVideo},     {"webm", "video/webm", Preview::kVideo},
    {"pdf", "application/pdf", Preview::kPdf},
};

// Plain text and source.  JavaScript and the languages of markup are left out: browsers
// run them.
constexpr std::string_view kTextEndings[] = {
    "txt", "text", "md",   "rst",   "tex", "log",  "csv",   "tsv",   "json",
    "yml", "yaml", "toml", "ini",   "cfg", "conf", "diff",  "patch", "srt",
    "vtt", "c",    "h",    "cc",    "hh",  "cpp",  "hpp",   "cs",    "java",
    "kt",  "go",   "rs",   "swift", "py",  "rb",   "pl",    "lua",   "php",
    "r",   "sh",   "bat",  "ps1",   "sql", "css",  "cmake", "asc"};

constexpr std::string_view kTextNames[] = {"readme", "license", "copying", "changelog",
                                           "makefile"};

template <class List>
bool Contains(const List& list, const std::string& text) {
  return std::find(std::begin(list), std::end(list), text) != std::end(list);
}

}  // namespace

ContentType ContentTypeOf(std::string_view name) {
  const std::string lower = VEXO::base::ToLowerAscii(name);
  const size_t dot = lower.rfind('.');
  const std::string ending = dot == std::string::npos ? "" : lower.substr(dot + 1);
  for (const Media& media : kMedia) {
    if (ending == media.ending) return {media.type, media.preview};
  }
  if (Contains(kTextEndings, ending) || Contains(kTextNames, lower)) {
    return {"text/plain; charset=utf-8", Preview::kText};
  }
  return {"application/octet-stream", Preview::kNone};
}

}  // namespace web
