// Pictures that were made to do harm, or were damaged.

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>
#include <zlib.h>

#include "support.h"
#include "web/thumbnails/helper/read_picture.h"
#include "web/thumbnails/helper/write_jpeg.h"

// A finding of the sanitizers is no refusal.
extern "C" const char* __asan_default_options() { return "exitcode=99"; }
extern "C" const char* __ubsan_default_options() { return "exitcode=99"; }

namespace {

using testing::ExitedWithCode;
using thumbnail::Picture;
using thumbnail::ReadPicture;
using thumbnail::Size;
using thumbnail::WriteJpeg;
using namespace thumbnail_test;

constexpr size_t kEndOfPngHeader = 33;  // signature and IHDR

void ExpectRefused(const std::string& file) {
  EXPECT_EXIT(ReadPicture(file), ExitedWithCode(thumbnail::kNoPicture), "");
}

[[noreturn]] void MakeThumbnail(const std::string& file) {
  const rlimit limit = {10, 10};
  setrlimit(RLIMIT_CPU, &limit);
  WriteJpeg(ReadPicture(file));
  _exit(0);
}

bool HasEndedByItself(int status) {
  return WIFEXITED(status) &&
         (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == thumbnail::kNoPicture);
}

/// Reads the picture in a child, which must neither crash nor hang.
void ExpectSurvival(const std::string& file) {
  EXPECT_EXIT(MakeThumbnail(file), HasEndedByItself, "");
}

Picture Sample() { return TwoColours({48, 32}, kRed, kBlue); }

std::vector<std::string> Samples() {
  return {WriteJpeg(Sample()), MakePng(Sample()), MakePng(Sample(), PNG_INTERLACE_ADAM7),
          MakeWebP({48, 32}, 0xff0000ff, false), MakeWebP({48, 32}, 0x00ff0080, true)};
}

/// A PNG file with another size in its header.
std::string PngOfSize(Size size) {
  const std::string png = MakePng(Sample());
  const std::string header = BigEndian(size.width, 4) + BigEndian(size.height, 4) +
                             std::string("\x08\x02\0\0\0", 5);
  return png.substr(0, 8) + PngChunk("IHDR", header) + png.substr(kEndOfPngHeader);
}

std::string JpegOfSize(Size size) {
  std::string jpeg = WriteJpeg(Sample());
  const size_t frame = jpeg.find(std::string("\xff\xc0\x00\x11\x08", 5));
  return jpeg.replace(frame + 5, 4, BigEndian(size.height, 2) + BigEndian(size.width, 2));
}

std::string Deflated(const std::string& text) {
  std::string out(compressBound(text.size()), '\0');
  uLongf length = out.size();
  compress(reinterpret_cast<Bytef*>(out.data()), &length,
           reinterpret_cast<const Bytef*>(text.data()), text.size());
  return out.substr(0, length);
}

TEST(HostilePictureDeathTest, WhatIsNoPicture_IsRefused) {
  for (const std::string& file :
       {std::string(), std::string("text"), std::string("<svg/>"), std::string("GIF89a"),
        std::string("\xff\xd8\xff"), std::string("\x89PNG\r\n\x1a\n"),
        std::string("RIFF\x10\0\0\0WEBP", 12), std::string("RIFF\x10\0\0\0WEBPVP8 ", 16),
        std::string("RIFF\x10\0\0\0WAVEfmt ", 16)}) {
    ExpectRefused(file);
  }
}

TEST(HostilePictureDeathTest, HugePictures_AreRefusedBeforeTheyAreDecoded) {
  ExpectRefused(JpegOfSize({65500, 65500}));
  ExpectRefused(JpegOfSize({65500, 1600}));
  ExpectRefused(PngOfSize({65535, 65535}));
  ExpectRefused(PngOfSize({0x7fffffff, 1}));

  const Size size = {10000, 10001};  // of black and white: few bytes
  const std::string rows(size_t{1 + size.width / 8} * size.height, '\0');
  const std::string header = BigEndian(size.width, 4) + BigEndian(size.height, 4) +
                             std::string("\x01\0\0\0\0", 5);
  ExpectRefused("\x89PNG\r\n\x1a\n" + PngChunk("IHDR", header) +
                PngChunk("IDAT", Deflated(rows)) + PngChunk("IEND", ""));
}

TEST(HostilePicture, HugeTextsInPng_AreSkipped) {
  const std::string png = MakePng(Sample());
  const std::string text(40 << 20, 'x');
  const std::string huge =
      PngChunk("tEXt", std::string("Comment\0", 8) + text) +
      PngChunk("zTXt", std::string("Comment\0\0", 9) + Deflated(text)) +
      PngChunk("iCCP", std::string("profile\0\0", 9) + Deflated(text));
  const Picture picture =
      ReadPicture(png.substr(0, kEndOfPngHeader) + huge + png.substr(kEndOfPngHeader));

  EXPECT_EQ(At(picture, 0, 0), kRed);
  EXPECT_EQ(At(picture, 47, 0), kBlue);
}

/// Reads the picture.  The process ends with 0 unless that took much memory.
[[noreturn]] void ReadInLittleMemory(const std::string& file) {
  rusage before = {};
  rusage after = {};
  getrusage(RUSAGE_SELF, &before);
  ReadPicture(file);
  getrusage(RUSAGE_SELF, &after);
  constexpr long kMuch = 100 << 10;  // kB
  _exit(after.ru_maxrss - before.ru_maxrss < kMuch ? 0 : 3);
}

TEST(HostilePictureDeathTest, ManyTextsInPng_NeedNoMemory) {
  const std::string png = MakePng(Sample());
  const std::string text = PngChunk(
      "zTXt", std::string("Comment\0\0", 9) + Deflated(std::string(7 << 20, 'x')));
  std::string texts;
  for (int i = 0; i < 60; ++i) texts += text;
  EXPECT_EXIT(ReadInLittleMemory(png.substr(0, kEndOfPngHeader) + texts +
                                 png.substr(kEndOfPngHeader)),
              ExitedWithCode(0), "");
}

TEST(HostilePictureDeathTest, AnimatedWebP_IsRefused) {
  const std::string still = MakeWebP({48, 32}, 0xff0000ff, true);
  const std::string size = LittleEndian(47, 3) + LittleEndian(31, 3);
  const std::string frame = LittleEndian(0, 6) + size + LittleEndian(100, 3) +
                            LittleEndian(0, 1) + still.substr(12);
  const auto chunk = [](const std::string& type, const std::string& data) {
    return type + LittleEndian(data.size(), 4) + data;
  };
  const std::string chunks = "WEBP" + chunk("VP8X", LittleEndian(0x02, 4) + size) +
                             chunk("ANIM", LittleEndian(0, 6)) + chunk("ANMF", frame);
  ExpectRefused("RIFF" + LittleEndian(chunks.size(), 4) + chunks);
}

TEST(HostilePictureDeathTest, PictureThatEndsTooEarly_DoesNoHarm) {
  for (const std::string& sample : Samples()) {
    for (size_t length = 0; length < sample.size(); length += 1 + sample.size() / 20) {
      ExpectSurvival(sample.substr(0, length));
    }
  }
}

TEST(HostilePictureDeathTest, DamagedPicture_DoesNoHarm) {
  for (const std::string& sample : Samples()) {
    const size_t step = 1 + sample.size() / 60;
    for (size_t position = 0; position < sample.size(); position += step) {
      std::string damaged = sample;
      damaged[position] = static_cast<char>(~damaged[position]);
      ExpectSurvival(damaged);
    }
  }
}

}  // namespace
