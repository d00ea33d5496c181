#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "admin/database_access.h"
#include "admin/json_text.h"
#include "admin/link_admin.h"
#include "cli/input.h"
#include "cli/interrupt.h"
#include "cli/options.h"
#include "cli/report.h"
#include "subcommands/table.h"
#include "terminal/json.h"
#include "terminal/progress.h"
#include "terminal/table.h"
#include "terminal/terminal.h"
#include "terminal/text.h"

namespace command {

namespace {

constexpr size_t kBatch = 500;
constexpr size_t kBatchBytes = 1048576;  // 1 MiB

struct Options {
  CommonOptions common;
  std::string file = "-";
  bool new_hash = false;
  bool keep_going = false;
};

/// Prints the links that got a new hash, one by one.
class NewHashes {
 public:
  explicit NewHashes(bool json) : json_(json) {
    if (!json_) return;
    std::cout << "{\"new_hashes\":";
    array_.Begin();
  }

  void Add(const admin::NewHash& link) {
    if (!json_) {
      std::cout << Printable(link.from) << ": new hash " << Printable(link.to) << "\n";
      return;
    }
    Json::Value element(Json::objectValue);
    element["from"] = link.from;
    element["to"] = link.to;
    array_.Add(element);
  }

  void End() {
    if (!json_) return;
    array_.End();
    std::cout << ",";
  }

 private:
  bool json_;
  JsonArrayWriter array_;
};

/// A carriage return is blank too: some systems end lines with it.
bool IsBlank(const std::string& text) {
  return text.find_first_not_of(" \t\r") == std::string::npos;
}

class Importer {
 public:
  Importer(const Options& options, admin::BaseDB& database)
      : options_(options),
        database_(database),
        links_(database),
        new_hashes_(options.common.json) {}

  /// Imports every line, in batches of one transaction each.
  ExitCode Run(LineReader& lines);

 private:
  /// Reads a batch; false when it is the last one.  No lock is held meanwhile, because
  /// the input may be slow.
  bool ReadBatch(LineReader& lines, std::vector<admin::LineLink>& batch);
  ExitCode StoreBatch(std::vector<admin::LineLink>& batch);
  void Print();

  const Options& options_;
  admin::BaseDB& database_;
  admin::LinkAdmin links_;
  NewHashes new_hashes_;
  admin::ImportCounts counts_;
  long refused_ = 0;
  Progress progress_{"importing, line", 0};
};

ExitCode Importer::Run(LineReader& lines) {
  std::vector<admin::LineLink> batch;
  bool more = true;
  while (more) {
    more = ReadBatch(lines, batch);
    const ExitCode exit_code = StoreBatch(batch);
    if (exit_code != kSuccess) {
      ReportError(Counted(counts_.imported, "link") + " imported before the error");
      return exit_code;
    }
    // Progress on the same terminal would overwrite the JSON array.
    if (!options_.common.json || !IsOutputTerminal()) progress_.Show(lines.number());
  }
  progress_.Wipe();
  Print();
  if (!lines.good()) {
    return Fail(kRefused, "cannot read beyond line " + std::to_string(lines.number()) +
                              ": " + strerror(lines.error()));
  }
  if (Interrupted()) {
    return Fail(kInterrupted,
                "interrupted: " + Counted(counts_.imported, "link") + " imported");
  }
  return refused_ == 0 && counts_.skipped == 0 ? kSuccess : kRefused;
}

bool Importer::ReadBatch(LineReader& lines, std::vector<admin::LineLink>& batch) {
  batch.clear();
  std::string text;
  size_t bytes = 0;
  while (batch.size() < kBatch && bytes < kBatchBytes) {
    if (!lines.Next(text)) return false;
    if (IsBlank(text) && !lines.too_long()) continue;
    admin::LineLink line;
    admin::Error error = {admin::kBadParameter, "line too long", ""};
    if (!lines.too_long()) error = ParseLinkLine(text, database_, line);
    if (!error) {
      batch.push_back(line);
      bytes += text.size();
      continue;
    }
    ++refused_;
    progress_.Wipe();
    ReportError("line " + std::to_string(lines.number()) + ": " + error.Text());
    if (!options_.keep_going) return false;
  }
  return true;
}

ExitCode Importer::StoreBatch(std::vector<admin::LineLink>& batch) {
  std::vector<admin::NewHash> renamed;
  const admin::Error error = links_.Import(batch, options_.new_hash, counts_, renamed);
  if (error || !renamed.empty()) progress_.Wipe();
  if (error) return Fail(error);
  for (const admin::NewHash& link : renamed) new_hashes_.Add(link);
  return kSuccess;
}

void Importer::Print() {
  new_hashes_.End();
  if (options_.common.json) {
    Json::Value out(Json::objectValue);
    out["imported"] = Json::Int64{counts_.imported};
    out["skipped"] = Json::Int64{counts_.skipped};
    out["refused"] = Json::Int64{refused_};
    out["disabled"] = Json::Int64{counts_.disabled};
    std::cout << admin::JsonText(out).substr(1) << "\n";  // continues the object
    return;
  }
  DetailList list;
  list.Add("Imported", Counted(counts_.imported, "link"));
  if (counts_.disabled > 0) {
    list.Add("Disabled",
             Counted(counts_.disabled, "link") +
                 " without a password in the file; use vexosharing edit HASH "
                 "--generate-password --enable",
             Style::kWarning);
  }
  if (counts_.skipped > 0) {
    list.Add("Skipped",
             Counted(counts_.skipped, "link") +
                 " with an existing hash; use --new-hash to assign a new one",
             Style::kWarning);
  }
  if (refused_ > 0) {
    list.Add(
        "Refused",
        Counted(refused_, "line") +
            (options_.keep_going ? ""
                                 : ", the rest was not read; use --keep-going to skip "
                                   "invalid lines"),
        Style::kBad);
  }
}

ExitCode Import(const Options& options) {
  LineReader lines(options.file);
  if (!lines.good()) {
    return Fail(kRefused, "cannot read " + options.file + ": " + strerror(lines.error()));
  }
  admin::DatabaseAccess access;
  if (admin::Error error = access.Open(options.common.database, admin::Access::kCreate)) {
    return Fail(error);
  }
  return Importer(options, access.database()).Run(lines);
}

}  // namespace

void AddImport(CLI::App& command, Action& action) {
  const auto options = std::make_shared<Options>();
  command.add_option("FILE", options->file, "file to read (default: standard input)")
      ->transform(NotEmpty());
  command.add_flag("--new-hash", options->new_hash,
                   "assign a new hash to links whose hash exists");
  command.add_flag("--keep-going", options->keep_going, "skip invalid lines");
  AddCommon(command, options->common);
  SetAction(command, action, options, Import);
}

}  // namespace command
