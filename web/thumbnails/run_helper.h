#pragma once

#include <chrono>
#include <string>

namespace web {

/// Longest thumbnail, in bytes.
inline constexpr size_t kLongestThumbnail = 128 << 10;

struct Thumbnail {
  enum class State {
    kMade,
    kNone,   ///< this file will never have one
    kLater,  ///< it could not be made now
  } state = State::kLater;
  std::string jpeg;  ///< of kMade
};

/// Runs the program that makes thumbnails, with the picture as standard input, no other
/// open file and an empty environment, and ends it after this time.  A program that
/// fails, or writes anything but a JPEG file, means that there is no thumbnail.  One that
/// cannot be run, or takes too long, is logged.
Thumbnail RunHelper(const std::string& program, int picture,
                    std::chrono::milliseconds time);

}  // namespace web
