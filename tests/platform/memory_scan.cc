#include "memory_scan.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {

constexpr size_t kChunk = size_t{1} << 20;

/// Disguises a character, or takes its disguise off.
char Flip(char c) { return static_cast<char>(c ^ 0x55); }

using Range = std::pair<std::uint64_t, std::uint64_t>;

std::vector<Range> WritableRanges() {
  std::vector<Range> ranges;
  FILE* const maps = fopen("/proc/self/maps", "re");
  EXPECT_NE(maps, nullptr);
  char line[1024];
  while (fgets(line, sizeof(line), maps) != nullptr) {
    Range range;
    char access[5] = "";
    if (sscanf(line, "%" SCNx64 "-%" SCNx64 " %4s", &range.first, &range.second,
               access) == 3 &&
        access[0] == 'r' && access[1] == 'w') {
      ranges.push_back(range);
    }
  }
  fclose(maps);
  return ranges;
}

}  // namespace

Secret::Secret(std::string_view text) : disguised_(text.begin(), text.end()) {
  for (char& c : disguised_) c = Flip(c);
}

Secret Secret::FromHex(const std::string& digits) {
  Secret secret;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    const int byte = std::stoi(digits.substr(i, 2), nullptr, 16);
    secret.disguised_.push_back(Flip(static_cast<char>(byte)));
  }
  return secret;
}

const char* Secret::Reveal() {
  plain_.assign(disguised_.size() + 1, '\0');
  for (size_t i = 0; i < disguised_.size(); ++i) plain_[i] = Flip(disguised_[i]);
  return plain_.data();
}

void Secret::Hide() { explicit_bzero(plain_.data(), plain_.size()); }

bool Secret::IsAt(const char* bytes) const {
  for (size_t i = disguised_.size() / 2; i < disguised_.size(); ++i) {
    if (Flip(*bytes++) != disguised_[i]) return false;
  }
  return true;
}

int Secret::CountIn(const void* memory, size_t size) const {
  const auto* const bytes = static_cast<const char*>(memory);
  const size_t wanted = disguised_.size() - disguised_.size() / 2;
  int count = 0;
  for (size_t i = 0; i + wanted <= size; ++i) count += IsAt(bytes + i) ? 1 : 0;
  return count;
}

int Secret::CountInMemory() const {
  const size_t wanted = disguised_.size() - disguised_.size() / 2;
  const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
  EXPECT_NE(memory, -1);
  // Mapped only now, between the ranges that are read: it would find itself.
  const std::vector<Range> ranges = WritableRanges();
  void* const mapped =
      mmap(nullptr, kChunk, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_NE(mapped, MAP_FAILED);
  auto* const chunk = static_cast<char*>(mapped);

  int count = 0;
  for (const auto& [begin, end] : ranges) {
    for (std::uint64_t at = begin; at < end; at += kChunk - wanted + 1) {
      const size_t size = std::min<std::uint64_t>(kChunk, end - at);
      const ssize_t got = pread(memory, chunk, size, static_cast<off_t>(at));
      if (got > 0) count += CountIn(chunk, got);
      if (size < kChunk) break;
    }
  }
  munmap(mapped, kChunk);
  close(memory);
  return count;
}
