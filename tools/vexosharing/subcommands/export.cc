#include <cstring>

#include "admin/link_json.h"
#include "cli/file.h"
#include "subcommands/table.h"
#include "terminal/terminal.h"

namespace command {

namespace {

constexpr size_t kBatch = 500;
constexpr size_t kBatchBytes = 1048576;  // 1 MiB

struct ExportOptions : CommonOptions {
  std::string file = "-";
  bool with_secrets = false;
  bool force = false;
};

/// Writes every readable link; false, reported, when `file` (null: standard
/// output) cannot be written.
bool WriteLinks(admin::LinkReader& reader, bool with_secrets, NewFile* file) {
  Progress progress("exporting links");
  Entry link;
  while (std::cout && !Interrupted() && reader.Next(link)) {
    const std::string line = admin::LinkLine(link, with_secrets) + "\n";
    if (file == nullptr) {
      std::cout << line;
    } else if (!file->Append(line)) {
      return false;
    }
    if (file != nullptr || !IsOutputTerminal())
      progress.Show(reader.done(), reader.total());
  }
  return true;
}

ExitCode Export(const ExportOptions& options) {
  admin::DatabaseAccess access;
  if (Error error = access.Open(options.database, Access::kRead)) return Fail(error);
  std::unique_ptr<NewFile> file;
  if (options.file != "-") {
    file = std::make_unique<NewFile>(options.file, options.force);
    if (!file->Make(options.database)) return kRefused;
  }
  admin::LinkReader reader(access.database(), "", "id");
  if (!WriteLinks(reader, options.with_secrets, file.get())) return kRefused;
  if (!reader.good()) return Fail(admin::DatabaseError(access.database()));
  if (Interrupted()) {
    return Fail(kInterrupted, "interrupted after " + std::to_string(reader.done()) +
                                  " of " + Counted(reader.total(), "link") +
                                  (file == nullptr ? "" : ": no file was written"));
  }
  if (file != nullptr) {
    if (!file->Publish()) return kRefused;
    const long written = reader.done() - static_cast<long>(reader.unreadable().size());
    PrintResult(options.json,
                {{"file", options.file},
                 {"exported", Json::Int64{written}},
                 {"unreadable", UnreadableJson(reader.unreadable())}},
                "Exported " + Counted(written, "link") + " to " + options.file + ".");
  }
  ReportUnreadable(reader.unreadable());
  return reader.unreadable().empty() ? kSuccess : kRefused;
}

struct ImportOptions : CommonOptions {
  std::string file = "-";
  bool new_hash = false;
  bool keep_going = false;
};

/// A carriage return is blank too: some systems end lines with it.
bool IsBlank(const std::string& text) {
  return text.find_first_not_of(" \t\r") == std::string::npos;
}

class Importer {
 public:
  Importer(const ImportOptions& options, LineReader& lines, admin::BaseDB& database)
      : options_(options), lines_(lines), database_(database), links_(database) {}

  /// Imports every line, in batches of one transaction each.
  ExitCode Run() {
    if (options_.json) std::cout << "{\"new_hashes\":[";
    bool more = true;
    while (more) {
      more = ReadBatch();
      if (const Error error = StoreBatch()) {
        const ExitCode exit_code = Fail(error);
        ReportError(Counted(counts_.imported, "link") + " imported before the error");
        return exit_code;
      }
      // Progress on the same terminal would overwrite the JSON array.
      if (!options_.json || !IsOutputTerminal()) progress_.Show(lines_.number(), 0);
    }
    progress_.Wipe();
    Print();
    if (lines_.error() != 0) {
      return Fail(kRefused, "cannot read beyond line " + std::to_string(lines_.number()) +
                                ": " + strerror(lines_.error()));
    }
    if (Interrupted()) {
      return Fail(kInterrupted,
                  "interrupted: " + Counted(counts_.imported, "link") + " imported");
    }
    return refused_ == 0 && counts_.skipped == 0 ? kSuccess : kRefused;
  }

 private:
  /// Reads a batch; false when it is the last one.  No lock is held meanwhile, because
  /// the input may be slow.
  bool ReadBatch() {
    batch_.clear();
    std::string text;
    size_t bytes = 0;
    while (batch_.size() < kBatch && bytes < kBatchBytes) {
      if (!lines_.Next(text)) return false;
      if (IsBlank(text) && !lines_.too_long()) continue;
      admin::LineLink line;
      Error error = {admin::kBadParameter, "line too long", ""};
      if (!lines_.too_long()) error = ParseLinkLine(text, database_, line);
      if (!error) {
        batch_.push_back(line);
        bytes += text.size();
        continue;
      }
      ++refused_;
      progress_.Wipe();
      ReportError("line " + std::to_string(lines_.number()) + ": " + error.Text());
      if (!options_.keep_going) return false;
    }
    return true;
  }

  /// Stores the batch, and prints the links that got a new hash.
  Error StoreBatch() {
    std::vector<admin::NewHash> renamed;
    Error error = links_.Import(batch_, options_.new_hash, counts_, renamed);
    if (error || !renamed.empty()) progress_.Wipe();
    for (const auto& [from, to] : renamed) {
      if (options_.json) {
        new_hashes_.Add(JsonObject({{"from", from}, {"to", to}}));
      } else {
        std::cout << Printable(from) << ": new hash " << Printable(to) << "\n";
      }
    }
    return error;
  }

  void Print() {
    if (options_.json) {
      new_hashes_.End();
      const Json::Value out = JsonObject({{"imported", Json::Int64{counts_.imported}},
                                          {"skipped", Json::Int64{counts_.skipped}},
                                          {"refused", Json::Int64{refused_}},
                                          {"disabled", Json::Int64{counts_.disabled}}});
      std::cout << "," << admin::JsonText(out).substr(1) << "\n";  // continues the object
      return;
    }
    DetailList list;
    list.Add("Imported", Counted(counts_.imported, "link"));
    const auto add = [&list](const char* name, long count, const char* noun,
                             const std::string& advice, Style style) {
      if (count > 0) list.Add(name, Counted(count, noun) + advice, style);
    };
    add("Disabled", counts_.disabled, "link",
        " without a password in the file; use vexosharing edit HASH --generate-password "
        "--enable",
        Style::kWarning);
    add("Skipped", counts_.skipped, "link",
        " with an existing hash; use --new-hash to assign a new one", Style::kWarning);
    add("Refused", refused_, "line",
        options_.keep_going
            ? ""
            : ", the rest was not read; use --keep-going to skip invalid lines",
        Style::kBad);
  }

  const ImportOptions& options_;
  LineReader& lines_;
  admin::BaseDB& database_;
  admin::LinkAdmin links_;
  std::vector<admin::LineLink> batch_;
  JsonArrayWriter new_hashes_;
  admin::ImportCounts counts_;
  long refused_ = 0;
  Progress progress_{"importing, line"};
};

ExitCode Import(const ImportOptions& options) {
  LineReader lines(options.file);
  if (lines.error() != 0) {
    return Fail(kRefused, "cannot read " + options.file + ": " + strerror(lines.error()));
  }
  admin::DatabaseAccess access;
  if (Error error = access.Open(options.database, Access::kCreate)) return Fail(error);
  return Importer(options, lines, access.database()).Run();
}

}  // namespace

Action AddExport(CLI::App& command) {
  const auto options = std::make_shared<ExportOptions>();
  command.add_option("FILE", options->file, "file to create (default: standard output)")
      ->transform(NotEmpty());
  command.add_flag("--with-secrets", options->with_secrets,
                   "include stored passwords and private data");
  command.add_flag("--force", options->force, "replace an existing file");
  AddCommon(command, *options);
  return [options] { return Export(*options); };
}

Action AddImport(CLI::App& command) {
  const auto options = std::make_shared<ImportOptions>();
  command.add_option("FILE", options->file, "file to read (default: standard input)")
      ->transform(NotEmpty());
  command.add_flag("--new-hash", options->new_hash,
                   "assign a new hash to links whose hash exists");
  command.add_flag("--keep-going", options->keep_going, "skip invalid lines");
  AddCommon(command, *options);
  return [options] { return Import(*options); };
}

}  // namespace command
