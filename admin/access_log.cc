#include "admin/access_log.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "admin/json_text.h"
#include "base/number.h"
#include "base/percent.h"
#include "base/text.h"

namespace admin {

namespace {

using VEXO::base::kAccessLogName;
using VEXO::base::UniqueFd;

constexpr size_t kPieceSize = 64 << 10;
constexpr std::string_view kBegin = VEXO::base::kAccessLineBegin;
constexpr size_t kTimeLength = std::string_view("2026-12-31T18:00:00Z").size();

/// 0 for any other text.
long ParseTime(const std::string& text) {
  tm utc = {};
  const char* const end = strptime(text.c_str(), VEXO::base::kIsoTimeFormat, &utc);
  const bool whole = text.size() == kTimeLength && end == text.c_str() + text.size();
  return whole ? timegm(&utc) : 0;
}

/// Whether a line was written to its end, as far as that shows without parsing it.
bool IsWhole(std::string_view line) {
  return line.substr(0, kBegin.size()) == kBegin && line.back() == '}';
}

/// What a line of this link contains; empty when lines must be parsed to know.
std::string LinkMember(const std::string& hash) {
  const bool plain = std::all_of(hash.begin(), hash.end(), VEXO::base::IsUnreserved);
  return plain ? R"("link":")" + hash + '"' : "";
}

bool ParseVisit(std::string_view line, std::string& hash, RecordedVisit& visit) {
  Json::Value object;
  std::string reason;
  if (!ParseJsonObject(std::string(line), object, reason)) return false;
  const Json::Value& code = object["code"];
  const Json::Value& address = object["address"];
  if (!object["time"].isString() || !object["link"].isString() ||
      !object["event"].isString() || !object["status"].isInt() ||
      !object["path"].isString() || !object["bytes"].isUInt64() ||
      !(code.isNull() || code.isInt()) || !(address.isNull() || address.isString())) {
    return false;
  }
  visit.time = ParseTime(object["time"].asString());
  hash = object["link"].asString();
  visit.event = object["event"].asString();
  visit.code = code.isNull() ? std::nullopt : std::optional<int>(code.asInt());
  visit.status = object["status"].asInt();
  visit.path = object["path"].asString();
  visit.bytes = object["bytes"].asUInt64();
  visit.address = address.asString();
  return visit.time != 0;
}

/// The number of a rotated file; 0 for the file that is written, and nothing for others.
std::optional<int> NumberOf(const std::string& name) {
  const std::string current = kAccessLogName;
  if (name == current) return 0;
  if (name.rfind(current + ".", 0) != 0) return std::nullopt;
  return VEXO::base::ParseNumber(std::string_view(name).substr(current.size() + 1), 1,
                                 1000000);
}

bool IsOpening(const std::string& event) {
  const char* const openings[] = {VEXO::base::kEventList,     VEXO::base::kEventView,
                                  VEXO::base::kEventDownload, VEXO::base::kEventPart,
                                  VEXO::base::kEventZip,      VEXO::base::kEventUpload,
                                  VEXO::base::kEventRedirect};
  return std::find(std::begin(openings), std::end(openings), event) != std::end(openings);
}

bool IsDownload(const std::string& event) {
  return event == VEXO::base::kEventDownload || event == VEXO::base::kEventZip;
}

}  // namespace

Json::Value RecordedVisitJson(const RecordedVisit& visit) {
  Json::Value out = JsonObject({{"time", Json::Int64{visit.time}},
                                {"event", visit.event},
                                {"status", visit.status},
                                {"path", visit.path},
                                {"bytes", Json::UInt64{visit.bytes}}});
  if (visit.code) out["code"] = *visit.code;
  if (!visit.address.empty()) out["address"] = visit.address;
  return out;
}

AccessLogReader::AccessLogReader(std::string folder) : folder_(std::move(folder)) {}

Error AccessLogReader::Failure(const std::string& path) const {
  return {kFailed, "cannot read " + path + ": " + strerror(errno)};
}

Error AccessLogReader::Open() {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(folder_.c_str()), closedir);
  if (folder == nullptr) return Failure(folder_);
  std::vector<int> numbers;
  errno = 0;
  while (const dirent* const entry = readdir(folder.get())) {
    const std::optional<int> number = NumberOf(entry->d_name);
    if (number) numbers.push_back(*number);
  }
  if (errno != 0) return Failure(folder_);
  // The newest first: a file that is rotated meanwhile is opened twice rather than never.
  std::sort(numbers.begin(), numbers.end());
  for (const int number : numbers) {
    const std::string end = number == 0 ? "" : "." + std::to_string(number);
    const std::string path = folder_ + "/" + kAccessLogName + end;
    if (!OpenFile(path)) return Failure(path);
  }
  return {};
}

/// Opens a file unless it is gone, or open already under another name.
bool AccessLogReader::OpenFile(const std::string& name) {
  UniqueFd file(
      open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!file) return errno == ENOENT;
  struct stat status = {};
  if (fstat(file.get(), &status) == -1) return false;
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return false;
  }
  const bool known =
      std::any_of(files_.begin(), files_.end(), [&status](const UniqueFd& other) {
        struct stat open = {};
        return fstat(other.get(), &open) == 0 && open.st_ino == status.st_ino &&
               open.st_dev == status.st_dev;
      });
  if (!known) files_.push_back(std::move(file));
  return true;
}

bool AccessLogReader::Next(const std::string& hash, RecordedVisit& visit) {
  const std::string member = LinkMember(hash);
  std::string_view line;
  while (ReadLine(line)) {
    const bool whole = IsWhole(line);
    if (whole && since_ == 0) {
      since_ = ParseTime(std::string(line.substr(kBegin.size(), kTimeLength)));
    }
    // Parsing the lines of other links would take most of the time.
    if (whole && !member.empty() && line.find(member) == std::string_view::npos) continue;
    std::string found;
    if (!whole || !ParseVisit(line, found, visit)) {
      ++malformed_;
    } else if (found == hash) {
      return true;
    }
  }
  return false;
}

/// Reads the next line, without its end.  False at the end of the last file.
bool AccessLogReader::ReadLine(std::string_view& line) {
  for (;;) {
    const size_t end = piece_.find('\n', begin_);
    if (end != std::string::npos) {
      line = std::string_view(piece_).substr(begin_, end - begin_);
      begin_ = end + 1;
      if (!std::exchange(skipping_, false) && !line.empty()) return true;
      ++malformed_;
    } else if (!ReadPiece()) {
      return false;
    }
  }
}

/// Replaces the lines that were read by a further piece.
bool AccessLogReader::ReadPiece() {
  piece_.erase(0, begin_);
  begin_ = 0;
  if (piece_.size() > VEXO::base::kLongestAccessLine) {
    skipping_ = true;
    piece_.clear();
  }
  while (!files_.empty()) {
    const size_t size = piece_.size();
    piece_.resize(size + kPieceSize);
    const ssize_t got =
        TEMP_FAILURE_RETRY(read(files_.back().get(), &piece_[size], kPieceSize));
    piece_.resize(size + std::max<ssize_t>(got, 0));
    if (got > 0) return true;
    if (got == -1) {
      error_ = Failure(folder_);
      return false;
    }
    if (skipping_ || !piece_.empty()) ++malformed_;  // a line without end
    skipping_ = false;
    piece_.clear();
    files_.pop_back();
  }
  return false;
}

std::optional<VisitSummary> SummarizeVisits(const std::string& hash) {
  AccessLogReader log;
  if (log.Open() || log.empty()) return std::nullopt;
  VisitSummary summary;
  RecordedVisit visit;
  while (log.Next(hash, visit)) {
    if (IsOpening(visit.event)) {
      summary.last_opened = std::max(summary.last_opened, visit.time);
    }
    if (IsDownload(visit.event)) ++summary.downloads;
  }
  if (log.error()) return std::nullopt;
  summary.since = log.since();
  return summary;
}

Json::Value VisitSummaryJson(const VisitSummary& summary) {
  return JsonObject({{"last_opened", Json::Int64{summary.last_opened}},
                     {"downloads", Json::Int64{summary.downloads}},
                     {"since", Json::Int64{summary.since}}});
}

}  // namespace admin
