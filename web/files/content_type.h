#pragma once

#include <string>
#include <string_view>

namespace web {

/// How a page can show a file.
enum class Preview { kNone, kPicture, kAudio, kVideo, kPdf, kText };

/// How a file is sent.
struct ContentType {
  std::string type;  ///< value of Content-Type
  Preview preview;
  /// Whether a browser may show the file by itself; otherwise it is an attachment.
  bool Inline() const { return preview != Preview::kNone; }
};

/// The type by the end of the name.  Everything that a browser could run (HTML, SVG, XML,
/// JavaScript) or that is unknown is application/octet-stream.
ContentType ContentTypeOf(std::string_view name);

}  // namespace web
