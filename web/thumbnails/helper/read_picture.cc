#include "web/thumbnails/helper/read_picture.h"

namespace thumbnail {

Picture ReadPicture(std::string_view file) {
  if (file.substr(0, 3) == "\xff\xd8\xff") return ReadJpeg(file);
  if (file.substr(0, 8) == "\x89PNG\r\n\x1a\n") return ReadPng(file);
  if (file.substr(0, 4) == "RIFF" && file.size() > 12 && file.substr(8, 4) == "WEBP") {
    return ReadWebP(file);
  }
  Refuse();
}

}  // namespace thumbnail
