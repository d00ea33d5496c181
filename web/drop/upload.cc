#include "web/drop/upload.h"

#include <syslog.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "base/hold_signals.h"
#include "web/drop/multipart.h"
#include "web/drop/sent_name.h"
#include "web/drop/sent_note.h"

namespace web {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kLongestFrom = 400;
constexpr size_t kLongestText = 8 << 10;
constexpr std::uint64_t kLargestOverhead = 8 << 20;  // boundaries, headers and texts
constexpr int kMostNumbers = 10000;
constexpr std::chrono::seconds kLockTimeout(10);
const char kNoteName[] = "note.txt";

// What must arrive in a time.
constexpr size_t kPaceBytes = 64 << 10;

UploadResult Failed(const char* what) {
  if (errno == ENOSPC || errno == EDQUOT) return UploadResult::kNoSpace;
  syslog(LOG_ERR, "files were not received: cannot %s: %m", what);
  return UploadResult::kFailed;
}

/// What one form brings.
class Upload : public PartSink {
 public:
  Upload(const DropFolder& folder, const DropFolder::Contents& before)
      : folder_(folder), before_(before) {}

  bool Begin(const PartHeaders& headers) override;
  bool Add(std::string_view bytes) override;
  bool End() override;

  /// Why one of them returned false.
  UploadResult problem() const { return problem_; }

  /// Gives the files their names.
  UploadResult Keep();
  int files() const { return static_cast<int>(items_.size()); }

 private:
  struct Item {
    std::string name;  // as it was sent, cleaned; the one in the folder after NameAll
    std::unique_ptr<NewFile> file;
  };

  bool Stop(UploadResult problem) {
    problem_ = problem;
    return false;
  }
  bool AddText(std::string_view bytes);
  UploadResult NameAll();
  UploadResult Name(Item item);
  UploadResult AddNote();
  bool Fits() const;
  UploadResult CheckRoom() const;
  bool HasNote() const {
    return !from_.value_or("").empty() || !note_.value_or("").empty();
  }

  const DropFolder& folder_;
  DropFolder::Contents before_;
  UploadResult problem_ = UploadResult::kFailed;
  int parts_ = 0;
  std::uint64_t bytes_ = 0;

  // The part that is being received: a file, one of the texts, or one that is ignored.
  Item current_;
  bool has_filename_ = false;
  std::uint64_t current_bytes_ = 0;
  std::optional<std::string>* text_ = nullptr;

  std::optional<std::string> from_;
  std::optional<std::string> note_;
  std::vector<Item> items_;
  std::vector<Item> named_;
};

bool Upload::Begin(const PartHeaders& headers) {
  if (++parts_ > kMostParts) return Stop(UploadResult::kTooMany);
  current_ = Item();
  current_bytes_ = 0;
  text_ = nullptr;
  if (headers.name == "file") {
    if (before_.files + items_.size() >= folder_.limits().files) {
      return Stop(UploadResult::kTooMany);
    }
    has_filename_ = !headers.filename.empty();
    current_ = {CleanFileName(headers.filename), folder_.CreateFile()};
    return current_.file != nullptr || Stop(Failed("create a file"));
  }
  // The first of several fields counts.
  if (headers.name == "from" && !from_) text_ = &from_;
  if (headers.name == "note" && !note_) text_ = &note_;
  if (text_ != nullptr) text_->emplace();
  return true;
}

bool Upload::Add(std::string_view bytes) {
  current_bytes_ += bytes.size();
  if (current_.file == nullptr) return AddText(bytes);
  bytes_ += bytes.size();
  if (!Fits()) return Stop(UploadResult::kTooLarge);
  return current_.file->Write(bytes) || Stop(Failed("write a file"));
}

bool Upload::AddText(std::string_view bytes) {
  const size_t longest = text_ == &from_ ? kLongestFrom : kLongestText;
  if (current_bytes_ > longest) return Stop(UploadResult::kTextTooLong);
  if (text_ != nullptr) (*text_)->append(bytes);
  return true;
}

bool Upload::End() {
  // A browser sends an empty part without a name when no file was chosen.
  if (current_.file == nullptr || (!has_filename_ && current_bytes_ == 0)) return true;
  if (!folder_.Finish(*current_.file)) return Stop(Failed("store a file"));
  items_.push_back(std::move(current_));
  current_ = Item();
  return true;
}

/// Whether the folder may hold the bytes of the form, too.
bool Upload::Fits() const {
  const std::uint64_t limit = folder_.limits().bytes;
  return before_.bytes <= limit && bytes_ <= limit - before_.bytes;
}

UploadResult Upload::Keep() {
  if (items_.empty()) return UploadResult::kNoFile;
  const VEXO::base::UniqueFd lock = folder_.Lock(kLockTimeout);
  if (!lock) return Failed("lock the folder");
  const std::optional<DropFolder::Contents> before = folder_.Count();
  if (!before) return Failed("read the folder");
  before_ = *before;  // another upload may have ended meanwhile
  const UploadResult room = CheckRoom();
  if (room != UploadResult::kReceived) return room;
  // All names or none: a service that is stopped waits for it.
  const VEXO::base::HoldSignals hold;
  const UploadResult result = NameAll();
  if (result == UploadResult::kReceived) return result;
  for (const Item& item : named_) item.file->RemoveName(item.name);
  return result;
}

/// Whether the folder has room for what was received, before it is seen there.
UploadResult Upload::CheckRoom() const {
  const std::uint64_t note = HasNote() ? 1 : 0;
  if (before_.files + items_.size() + note > folder_.limits().files) {
    return UploadResult::kTooMany;
  }
  return Fits() ? UploadResult::kReceived : UploadResult::kTooLarge;
}

UploadResult Upload::NameAll() {
  for (Item& item : items_) {
    const UploadResult result = Name(std::move(item));
    if (result != UploadResult::kReceived) return result;
  }
  const UploadResult result = AddNote();
  if (result != UploadResult::kReceived) return result;
  if (!Fits()) return UploadResult::kTooLarge;  // with the note
  return folder_.Sync() ? UploadResult::kReceived : Failed("store the names");
}

UploadResult Upload::Name(Item item) {
  const std::string wanted = item.name;
  for (int number = 1; number <= kMostNumbers; ++number) {
    item.name = NumberedName(wanted, number);
    if (item.file->GiveName(item.name)) {
      named_.push_back(std::move(item));
      return UploadResult::kReceived;
    }
    if (errno != EEXIST) break;
  }
  return Failed("name a file");
}

UploadResult Upload::AddNote() {
  if (!HasNote()) return UploadResult::kReceived;
  std::vector<std::string> names;
  for (const Item& item : named_) names.push_back(item.name);
  const std::string text =
      SentNote(from_.value_or(""), note_.value_or(""), names, time(nullptr));
  bytes_ += text.size();
  Item note = {kNoteName, folder_.CreateFile()};
  if (note.file == nullptr || !note.file->Write(text) || !folder_.Finish(*note.file)) {
    return Failed("write the note");
  }
  return Name(std::move(note));
}

/// Hands a body on to the parser, until it ends or is too slow.
MultipartParser::Status Receive(const Source& read, std::chrono::milliseconds timeout,
                                MultipartParser* parser) {
  std::string buffer(kPieceSize, '\0');
  Clock::duration waited(0);
  size_t arrived = 0;
  for (;;) {
    const Clock::time_point begin = Clock::now();
    const ssize_t got = read(buffer.data(), buffer.size());
    if (got <= 0) return MultipartParser::Status::kMalformed;
    waited += Clock::now() - begin;
    arrived += got;
    if (arrived >= kPaceBytes) {
      arrived = 0;
      waited = Clock::duration(0);
    }
    if (waited >= timeout) return MultipartParser::Status::kMalformed;
    const MultipartParser::Status status =
        parser->Feed(std::string_view(buffer).substr(0, got));
    if (status != MultipartParser::Status::kMore) return status;
  }
}

}  // namespace

UploadResult ReceiveUpload(const DropFolder& folder, const std::string& boundary,
                           std::uint64_t length, const Source& read, int* files,
                           std::chrono::milliseconds timeout) {
  const DropFolder::Access access(folder);
  if (!access.good()) return Failed("become the owner");
  const std::optional<DropFolder::Contents> before = folder.Count();
  if (!before) return Failed("read the folder");
  const std::uint64_t limit = folder.limits().bytes;
  if (length > kLargestOverhead &&
      (length - kLargestOverhead > limit ||
       before->bytes > limit - (length - kLargestOverhead))) {
    return UploadResult::kTooLarge;
  }
  Upload upload(folder, *before);
  MultipartParser parser(boundary, &upload);
  switch (Receive(read, timeout, &parser)) {
    case MultipartParser::Status::kEnd:
      break;
    case MultipartParser::Status::kStopped:
      return upload.problem();
    default:
      return UploadResult::kIncomplete;
  }
  *files = upload.files();
  return upload.Keep();
}

}  // namespace web
