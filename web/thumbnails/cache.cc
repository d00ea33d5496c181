#include "web/thumbnails/cache.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <string_view>
#include <vector>

#include "base/system_account.h"
#include "base/unique_fd.h"
#include "web/files/folder_stream.h"
#include "web/files/new_file.h"

namespace web {
namespace {

using VEXO::base::UniqueFd;

// Each part has its share of the size, so that only a few files are looked at when one is
// added.
constexpr size_t kParts = 64;
constexpr mode_t kFolderMode = 0700;
constexpr std::uint64_t kBlock = 512;
constexpr std::uint64_t kLeastSize = 4096;  // an empty file needs room, too

struct CachedFile {
  std::string name;
  timespec time;
  std::uint64_t size;
};

bool IsOlder(const CachedFile& left, const CachedFile& right) {
  if (left.time.tv_sec != right.time.tv_sec) return left.time.tv_sec < right.time.tv_sec;
  return left.time.tv_nsec < right.time.tv_nsec;
}

std::vector<CachedFile> FilesOf(int folder) {
  std::vector<CachedFile> files;
  const FolderStream stream = OpenFolderStream(folder);
  if (!stream) return files;
  while (const dirent* const entry = readdir(stream.get())) {
    struct stat status = {};
    if (fstatat(folder, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == -1 ||
        !S_ISREG(status.st_mode)) {
      continue;
    }
    const std::uint64_t size = static_cast<std::uint64_t>(status.st_blocks) * kBlock;
    files.push_back({entry->d_name, status.st_mtim, std::max(size, kLeastSize)});
  }
  return files;
}

/// Removes the oldest files until the others fit in `size`.
void RemoveOldest(int folder, std::uint64_t size) {
  std::vector<CachedFile> files = FilesOf(folder);
  std::uint64_t total = 0;
  for (const CachedFile& file : files) total += file.size;
  if (total <= size) return;
  std::sort(files.begin(), files.end(), IsOlder);
  for (const CachedFile& file : files) {
    unlinkat(folder, file.name.c_str(), 0);
    total -= file.size;
    if (total <= size) return;
  }
}

/// Stores a whole file, unless there is one.  False, with the reason in errno.
bool WriteFile(int folder, const std::string& name, std::string_view content) {
  const auto file = NewFile::Create(folder);
  return file && file->Write(content) && (file->GiveName(name) || errno == EEXIST);
}

}  // namespace

std::string ThumbnailCache::FolderOf(const std::string& key) const {
  std::array<char, 8> part;
  snprintf(part.data(), part.size(), "%02zu", std::hash<std::string>{}(key) % kParts);
  return folder_ + "/" + part.data();
}

std::optional<Thumbnail> ThumbnailCache::Find(const std::string& key) const {
  const std::string path = FolderOf(key) + "/" + key;
  const VEXO::base::AsSystemAccount system;
  if (!system.good()) return std::nullopt;
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat status = {};
  if (!file || fstat(file.get(), &status) == -1 || !S_ISREG(status.st_mode) ||
      status.st_size > static_cast<off_t>(kLongestThumbnail)) {
    return std::nullopt;
  }
  Thumbnail thumbnail;
  thumbnail.jpeg.resize(status.st_size);
  if (pread(file.get(), thumbnail.jpeg.data(), status.st_size, 0) != status.st_size) {
    return std::nullopt;
  }
  thumbnail.state =
      thumbnail.jpeg.empty() ? Thumbnail::State::kNone : Thumbnail::State::kMade;
  return thumbnail;
}

void ThumbnailCache::Store(const std::string& key, const Thumbnail& thumbnail) const {
  const std::string path = FolderOf(key);
  const VEXO::base::AsSystemAccount system;
  if (!system.good()) return;
  if (mkdir(path.c_str(), kFolderMode) == -1 && errno != EEXIST) {
    syslog(LOG_WARNING, "%s: no thumbnail is kept: %m", folder_.c_str());
    return;
  }
  const UniqueFd folder(
      open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
  if (!folder || !WriteFile(folder.get(), key, thumbnail.jpeg)) {
    syslog(LOG_WARNING, "%s: no thumbnail is kept: %m", path.c_str());
  }
  if (folder) RemoveOldest(folder.get(), size_ / kParts);
}

}  // namespace web
