// Makes the thumbnail of one picture: reads the picture from standard input and writes a
// JPEG file to standard output.  The picture may have been made to attack the libraries
// that decode it, so the program first gives up what it does not need.
//
// Exit code: 0 for a thumbnail; 1 when there is none, because the input is not a picture
// that is read, or too large; 2 when the program could not be confined.

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <new>
#include <string>
#include <string_view>

#include "web/thumbnails/helper/confine.h"
#include "web/thumbnails/helper/read_picture.h"
#include "web/thumbnails/helper/write_jpeg.h"

namespace {

constexpr int kNotConfined = 2;

/// The length of the input where it is a file, as it is for the front end.
size_t LengthOfInput() {
  struct stat status = {};
  return fstat(STDIN_FILENO, &status) == 0 ? status.st_size : 0;
}

std::string ReadInput(size_t length) {
  static std::array<char, 256 << 10> piece;
  std::string input;
  input.reserve(length);  // growing would need room for two
  for (;;) {
    const ssize_t got = read(STDIN_FILENO, piece.data(), piece.size());
    if (got < 0) thumbnail::Refuse();
    if (got == 0) return input;
    input.append(piece.data(), got);
  }
}

void WriteOutput(std::string_view output) {
  while (!output.empty()) {
    const ssize_t written = write(STDOUT_FILENO, output.data(), output.size());
    if (written <= 0) thumbnail::Refuse();
    output.remove_prefix(written);
  }
}

}  // namespace

int main() {
  const size_t length = LengthOfInput();
  if (!thumbnail::Confine()) return kNotConfined;
  std::set_new_handler(thumbnail::Refuse);
  WriteOutput(thumbnail::WriteJpeg(thumbnail::ReadPicture(ReadInput(length))));
  _exit(0);
}
