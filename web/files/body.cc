#include "web/files/body.h"

#include <unistd.h>
#include <utf8cpp/utf8.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "base/random_draw.h"
#include "web/files/display_name.h"

namespace web {
namespace {

/// Reads as many bytes as are wanted, fewer only at the end of the file.  -1, with the
/// reason in errno, on failure.
ssize_t ReadAt(int file, char* buffer, size_t wanted, std::uint64_t position) {
  size_t done = 0;
  while (done < wanted) {
    const ssize_t got =
        pread(file, buffer + done, wanted - done, static_cast<off_t>(position + done));
    if (got == -1 && errno == EINTR) continue;
    if (got == -1) return -1;
    if (got == 0) break;
    done += got;
  }
  return static_cast<ssize_t>(done);
}

/// Removes the beginning of a character from the end of a text that was cut.
void DropPartialCharacter(std::string* text) {
  constexpr std::ptrdiff_t kLongest = 4;
  const auto valid_end = utf8::find_invalid(text->begin(), text->end());
  if (text->end() - valid_end < kLongest) text->erase(valid_end, text->end());
}

std::uint64_t LengthOf(const ByteRange& range) { return range.last - range.first + 1; }

}  // namespace

bool SendBytes(int file, std::uint64_t first, std::uint64_t length, const Sink& sink) {
  std::string piece(std::min<std::uint64_t>(length, kPieceSize), '\0');
  while (length != 0) {
    const size_t wanted = std::min<std::uint64_t>(length, kPieceSize);
    const ssize_t got = ReadAt(file, piece.data(), wanted, first);
    if (got != static_cast<ssize_t>(wanted)) return false;
    if (!sink(std::string_view(piece).substr(0, wanted))) return false;
    first += wanted;
    length -= wanted;
  }
  return true;
}

FileBody::FileBody(VEXO::base::UniqueFd file, std::uint64_t first, std::uint64_t length)
    : file_(std::move(file)), first_(first), length_(length) {}

bool FileBody::Send(const Sink& sink) {
  return SendBytes(file_.get(), first_, length_, sink);
}

MultipartBody::MultipartBody(VEXO::base::UniqueFd file, std::uint64_t size,
                             std::string type, std::vector<ByteRange> ranges)
    : file_(std::move(file)),
      size_(size),
      type_(std::move(type)),
      ranges_(std::move(ranges)) {
  // Long enough that no file contains it.
  constexpr std::string_view kAlphabet =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  constexpr size_t kLength = 32;
  if (!VEXO::base::DrawText(kAlphabet, kLength, &boundary_)) abort();
}

std::string MultipartBody::ContentType() const {
  return "multipart/byteranges; boundary=" + boundary_;
}

std::string MultipartBody::HeaderOf(const ByteRange& range) const {
  return "\r\n--" + boundary_ + "\r\nContent-Type: " + type_ +
         "\r\nContent-Range: " + ContentRange(range, size_) + "\r\n\r\n";
}

std::string MultipartBody::End() const { return "\r\n--" + boundary_ + "--\r\n"; }

std::optional<std::uint64_t> MultipartBody::Length() const {
  std::uint64_t length = End().size();
  for (const ByteRange& range : ranges_) {
    length += HeaderOf(range).size() + LengthOf(range);
  }
  return length;
}

bool MultipartBody::Send(const Sink& sink) {
  for (const ByteRange& range : ranges_) {
    if (!sink(HeaderOf(range)) ||
        !SendBytes(file_.get(), range.first, LengthOf(range), sink)) {
      return false;
    }
  }
  return sink(End());
}

bool ReadTextPreview(int file, size_t limit, TextPreview* preview) {
  std::string text(limit + 1, '\0');
  const ssize_t got = ReadAt(file, text.data(), text.size(), 0);
  if (got == -1) return false;
  preview->complete = static_cast<size_t>(got) <= limit;
  text.resize(std::min<size_t>(got, limit));
  if (!preview->complete) DropPartialCharacter(&text);
  preview->text = DisplayText(text);
  return true;
}

}  // namespace web
