#include "web/thumbnails/helper/shrink.h"

#include <algorithm>

namespace thumbnail {
namespace {

constexpr size_t kBytes = 3;
constexpr unsigned int kOpaque = 255;

}  // namespace

Shrinker::Shrinker(Size from, Size to)
    : from_(from),
      small_{to, std::vector<std::uint8_t>(kBytes * to.width * to.height)},
      row_(kBytes * to.width),
      line_(kBytes * to.width),
      room_(from.height) {}

void Shrinker::AddTransparentRow(const std::uint8_t* row) {
  opaque_.resize(kBytes * from_.width);
  for (size_t at = 0; at < opaque_.size(); at += kBytes, row += kBytes + 1) {
    const unsigned int opacity = row[kBytes];
    for (size_t i = 0; i < kBytes; ++i) {
      opaque_[at + i] = static_cast<std::uint8_t>(
          (row[i] * opacity + kOpaque * (kOpaque - opacity) + kOpaque / 2) / kOpaque);
    }
  }
  AddRow(opaque_.data());
}

void Shrinker::AddRow(const std::uint8_t* row) {
  ShrinkRow(row);
  std::uint64_t weight = small_.size.height;
  if (weight > room_) {
    weight -= room_;
    AddToLine(room_);
    FinishLine();
  }
  AddToLine(weight);
  room_ -= weight;
  if (room_ == 0) FinishLine();
}

void Shrinker::ShrinkRow(const std::uint8_t* row) {
  std::fill(row_.begin(), row_.end(), 0);
  std::uint32_t* out = row_.data();
  std::uint32_t room = from_.width;
  const auto add = [&out, &row](std::uint32_t weight) {
    for (size_t i = 0; i < kBytes; ++i) out[i] += weight * row[i];
  };
  for (unsigned int x = 0; x < from_.width; ++x, row += kBytes) {
    std::uint32_t weight = small_.size.width;
    if (weight > room) {
      weight -= room;
      add(room);
      out += kBytes;
      room = from_.width;
    }
    add(weight);
    room -= weight;
    if (room == 0) {
      out += kBytes;
      room = from_.width;
    }
  }
}

void Shrinker::AddToLine(std::uint64_t weight) {
  for (size_t i = 0; i < row_.size(); ++i) line_[i] += weight * row_[i];
}

void Shrinker::FinishLine() {
  const std::uint64_t area = std::uint64_t{from_.width} * from_.height;
  for (std::uint64_t& sum : line_) {
    small_.pixels[finished_++] = static_cast<std::uint8_t>((sum + area / 2) / area);
    sum = 0;
  }
  room_ = from_.height;
}

}  // namespace thumbnail
