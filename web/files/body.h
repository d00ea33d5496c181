#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/unique_fd.h"
#include "web/files/ranges.h"

namespace web {

/// Receives a body piece by piece, and throws nothing.  Returns false when there is
/// nobody to receive it any more.  An empty piece only asks for that.
using Sink = std::function<bool(std::string_view)>;

/// Reads some bytes of the body of a request into the buffer.  Returns their number, 0 at
/// the end of the body, and -1 when they do not arrive.
using Source = std::function<ssize_t(char* buffer, size_t size)>;

/// Largest piece that a body hands to a sink.
inline constexpr size_t kPieceSize = 64 << 10;

/// The body of an answer, which is read only while it is sent.
class Body {
 public:
  virtual ~Body() = default;

  /// Bytes of the whole body; nothing when they are not known beforehand.
  virtual std::optional<std::uint64_t> Length() const = 0;

  /// Sends the body, once.  False when the sink refused a piece, or when the body could
  /// not be read to its end: the connection must then be broken off, so that what was
  /// sent is not taken for the whole.
  virtual bool Send(const Sink& sink) = 0;
};

/// Hands bytes of a file to the sink.  False as for Body::Send; also when the file has
/// become too short.
bool SendBytes(int file, std::uint64_t first, std::uint64_t length, const Sink& sink);

/// A file or one range of it.
class FileBody : public Body {
 public:
  FileBody(VEXO::base::UniqueFd file, std::uint64_t first, std::uint64_t length);

  std::optional<std::uint64_t> Length() const override { return length_; }
  bool Send(const Sink& sink) override;

 private:
  VEXO::base::UniqueFd file_;
  std::uint64_t first_;
  std::uint64_t length_;
};

/// Several ranges of a file, as multipart/byteranges (RFC 9110, section 14.6).
class MultipartBody : public Body {
 public:
  /// `type` is the content type of the file, `size` its length.
  MultipartBody(VEXO::base::UniqueFd file, std::uint64_t size, std::string type,
                std::vector<ByteRange> ranges);

  /// Value of Content-Type for the whole answer.
  std::string ContentType() const;
  std::optional<std::uint64_t> Length() const override;
  bool Send(const Sink& sink) override;

 private:
  std::string HeaderOf(const ByteRange& range) const;
  std::string End() const;

  VEXO::base::UniqueFd file_;
  std::uint64_t size_;
  std::string type_;
  std::vector<ByteRange> ranges_;
  std::string boundary_;
};

/// The beginning of a text file, for people to see.
struct TextPreview {
  std::string text;      ///< as DisplayText makes it
  bool complete = true;  ///< false when the file has more
};

/// Reads at most `limit` bytes of the file.  False, with the reason in errno, when that
/// fails.
bool ReadTextPreview(int file, size_t limit, TextPreview* preview);

}  // namespace web
