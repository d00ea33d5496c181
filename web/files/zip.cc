#include "web/files/zip.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <climits>
#include <clocale>
#include <string_view>

#include "base/lazy_library.h"
#include "web/files/display_name.h"
#include "web/files/listing.h"

namespace web {
namespace {

/// The functions of the archive library.  It brings many other libraries along, so it is
/// loaded only when a zip is wanted; it then stays.
struct ArchiveLibrary {
  static constexpr char kLibrary[] = "libarchive.so.13";
  decltype(&archive_write_new) write_new;
  decltype(&archive_write_free) write_free;
  decltype(&archive_write_set_format_zip) set_format_zip;
  decltype(&archive_write_zip_set_compression_store) store;
  decltype(&archive_write_set_bytes_per_block) set_block_size;
  decltype(&archive_write_set_bytes_in_last_block) set_last_block_size;
  decltype(&archive_write_open) write_open;
  decltype(&archive_write_header) write_header;
  decltype(&archive_write_data) write_data;
  decltype(&archive_write_finish_entry) finish_entry;
  decltype(&archive_write_close) write_close;
  decltype(&archive_entry_new) entry_new;
  decltype(&archive_entry_free) entry_free;
  decltype(&archive_entry_clear) entry_clear;
  decltype(&archive_entry_set_pathname) set_pathname;
  decltype(&archive_entry_set_filetype) set_filetype;
  decltype(&archive_entry_set_perm) set_perm;
  decltype(&archive_entry_set_mtime) set_mtime;
  decltype(&archive_entry_set_size) set_size;

  void Find(VEXO::base::LazyLibrary& library) {
    library.Find("archive_write_new", &write_new);
    library.Find("archive_write_free", &write_free);
    library.Find("archive_write_set_format_zip", &set_format_zip);
    library.Find("archive_write_zip_set_compression_store", &store);
    library.Find("archive_write_set_bytes_per_block", &set_block_size);
    library.Find("archive_write_set_bytes_in_last_block", &set_last_block_size);
    library.Find("archive_write_open", &write_open);
    library.Find("archive_write_header", &write_header);
    library.Find("archive_write_data", &write_data);
    library.Find("archive_write_finish_entry", &finish_entry);
    library.Find("archive_write_close", &write_close);
    library.Find("archive_entry_new", &entry_new);
    library.Find("archive_entry_free", &entry_free);
    library.Find("archive_entry_clear", &entry_clear);
    library.Find("archive_entry_set_pathname", &set_pathname);
    library.Find("archive_entry_set_filetype", &set_filetype);
    library.Find("archive_entry_set_perm", &set_perm);
    library.Find("archive_entry_set_mtime", &set_mtime);
    library.Find("archive_entry_set_size", &set_size);
  }
};

/// Makes the calling thread use UTF-8, in which the library takes names.
class Utf8Names {
 public:
  Utf8Names()
      : utf8_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)),
        before_(utf8_ == nullptr ? nullptr : uselocale(utf8_)) {}
  Utf8Names(const Utf8Names&) = delete;
  Utf8Names& operator=(const Utf8Names&) = delete;
  ~Utf8Names() {
    if (utf8_ == nullptr) return;
    uselocale(before_);
    freelocale(utf8_);
  }
  bool good() const { return utf8_ != nullptr; }

 private:
  locale_t utf8_;
  locale_t before_;
};

/// Writes one zip file.  After a failure it can only be destroyed.
class ZipWriter {
 public:
  ZipWriter(const ArchiveLibrary& library, const Sink& sink)
      : library_(library),
        sink_(sink),
        writer_(library.write_new()),
        entry_(library.entry_new()) {
    good_ = writer_ != nullptr && entry_ != nullptr &&
            library_.set_format_zip(writer_) == ARCHIVE_OK &&
            library_.store(writer_) == ARCHIVE_OK &&
            library_.set_block_size(writer_, kPieceSize) == ARCHIVE_OK &&
            library_.set_last_block_size(writer_, 1) == ARCHIVE_OK &&
            library_.write_open(writer_, this, nullptr, Write, nullptr) == ARCHIVE_OK;
  }
  ZipWriter(const ZipWriter&) = delete;
  ZipWriter& operator=(const ZipWriter&) = delete;
  ~ZipWriter() {
    if (entry_ != nullptr) library_.entry_free(entry_);
    if (writer_ == nullptr) return;
    if (!closed_) {
      failed_ = true;  // the library writes the directory even now
      library_.write_close(writer_);
    }
    library_.write_free(writer_);
  }

  bool good() const { return good_; }

  bool AddFolder(const std::string& path, const NodeInfo& info) {
    return Begin(path + "/", info) && library_.finish_entry(writer_) == ARCHIVE_OK;
  }

  bool AddFile(const std::string& path, const Node& file) {
    const Sink write = [this](std::string_view piece) {
      return library_.write_data(writer_, piece.data(), piece.size()) ==
             static_cast<la_ssize_t>(piece.size());
    };
    return Begin(path, file.info) && SendBytes(file.fd.get(), 0, file.info.size, write) &&
           library_.finish_entry(writer_) == ARCHIVE_OK;
  }

  /// Writes the directory of the zip.
  bool Close() {
    closed_ = true;
    return library_.write_close(writer_) == ARCHIVE_OK;
  }

 private:
  static la_ssize_t Write(archive* /*writer*/, void* self, const void* bytes,
                          size_t size) {
    auto* const zip = static_cast<ZipWriter*>(self);
    const std::string_view piece(static_cast<const char*>(bytes), size);
    zip->failed_ = zip->failed_ || !zip->sink_(piece);
    return zip->failed_ ? -1 : static_cast<la_ssize_t>(size);
  }

  bool Begin(const std::string& path, const NodeInfo& info) {
    const bool folder = info.kind == NodeKind::kFolder;
    library_.entry_clear(entry_);
    library_.set_pathname(entry_, path.c_str());
    library_.set_filetype(entry_, folder ? AE_IFDIR : AE_IFREG);
    library_.set_perm(entry_, folder ? 0755 : 0644);
    library_.set_mtime(entry_, info.modified.tv_sec, 0);
    library_.set_size(entry_, static_cast<la_int64_t>(info.size));
    return library_.write_header(writer_, entry_) == ARCHIVE_OK;
  }

  const ArchiveLibrary& library_;
  const Sink& sink_;
  archive* writer_;
  archive_entry* entry_;
  bool good_ = false;
  bool closed_ = false;
  bool failed_ = false;  // nothing is written any more
};

class ZipBody : public Body {
 public:
  ZipBody(const ArchiveLibrary& library, const SharedTree& tree, Node folder,
          const std::string& name, std::vector<std::string> only)
      : library_(library),
        tree_(tree),
        folder_(std::move(folder)),
        name_(ArchiveName(name)),
        only_(std::move(only)) {
    std::sort(only_.begin(), only_.end());
  }

  std::optional<std::uint64_t> Length() const override { return std::nullopt; }

  bool Send(const Sink& sink) override {
    const Utf8Names utf8;
    ZipWriter zip(library_, sink);
    return utf8.good() && zip.good() && AddFolder(folder_, name_, &zip) && zip.Close();
  }

 private:
  bool IsWanted(const std::string& name) const {
    return only_.empty() || std::binary_search(only_.begin(), only_.end(), name);
  }

  /// Adds a folder and all that is in it under `path`, a path within the zip.
  bool AddFolder(const Node& folder, const std::string& path, ZipWriter* zip) {
    if (!zip->AddFolder(path, folder.info)) return false;
    FolderReader reader(tree_, folder);
    FolderEntry entry;
    for (;;) {
      switch (reader.Next(&entry)) {
        case FolderReader::Step::kFailed:
          return false;
        case FolderReader::Step::kEnd:
          return true;
        case FolderReader::Step::kEntry:
          if (&folder == &folder_ && !IsWanted(entry.name)) continue;
          if (!AddEntry(folder, entry, path, zip)) return false;
      }
    }
  }

  bool AddEntry(const Node& folder, const FolderEntry& entry, const std::string& path,
                ZipWriter* zip) {
    if (entry.link && entry.info.kind == NodeKind::kFolder) return true;
    const std::string from = JoinPath(folder.path, entry.name);
    const std::string to = path + "/" + ArchiveName(entry.name);
    path_bytes_ += to.size();
    if (++count_ > kMaxEntries || path_bytes_ > kMaxNameBytes ||
        from.size() >= PATH_MAX ||
        std::count(from.begin(), from.end(), '/') >= kMaxDepth) {
      return false;
    }
    Node node;
    const OpenResult result = tree_.OpenNode(from, &node);
    if (result == OpenResult::kFailed) return false;
    const bool replaced =
        node.info.inode != entry.info.inode || node.info.device != entry.info.device;
    if (result == OpenResult::kAbsent || replaced) return true;  // gone meanwhile
    return node.info.kind == NodeKind::kFolder ? AddFolder(node, to, zip)
                                               : zip->AddFile(to, node);
  }

  const ArchiveLibrary& library_;
  const SharedTree& tree_;
  Node folder_;
  std::string name_;
  std::vector<std::string> only_;  // sorted
  size_t count_ = 0;
  size_t path_bytes_ = 0;
};

}  // namespace

std::unique_ptr<Body> ZipFolder(const SharedTree& tree, Node folder,
                                const std::string& name, std::vector<std::string> only) {
  const auto* const library = VEXO::base::LoadFunctions<ArchiveLibrary>();
  if (library == nullptr) return nullptr;
  return std::make_unique<ZipBody>(*library, tree, std::move(folder), name,
                                   std::move(only));
}

}  // namespace web
