#include <string.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "database.h"
#include "entry_db.h"
#include "import_line.h"
#include "interrupt.h"
#include "json.h"
#include "line_reader.h"
#include "options.h"
#include "progress.h"
#include "statements.h"
#include "table.h"
#include "terminal.h"
#include "text.h"

namespace command {

namespace {

using VEXO::sharing::db::EntryDB;

constexpr size_t kBatch = 500;
constexpr size_t kBatchBytes = 1024 * 1024;

struct Options {
  CommonOptions common;
  std::string file = "-";
  bool new_hash = false;
  bool keep_going = false;
};

struct Counts {
  long imported = 0;
  long skipped = 0;
  long refused = 0;
  long disabled = 0;
};

/// A link that got another hash than its own.
struct NewHash {
  std::string from;
  std::string to;
};

/// Tells which links got a new hash, as it happens.
class NewHashes {
 public:
  explicit NewHashes(bool json) : json_(json) {
    if (!json_) return;
    std::cout << "{\"new_hashes\":";
    array_.Begin();
  }

  void Add(const NewHash& link) {
    if (!json_) {
      std::cout << Printable(link.from) << " is " << Printable(link.to) << " now\n";
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

/// A carriage return alone, another system's line end, is blank too.
bool IsBlank(const std::string& text) {
  return text.find_first_not_of(" \t\r") == std::string::npos;
}

class Importer {
 public:
  Importer(const Options& options, BaseDB& db)
      : options_(options), db_(db), links_(db), new_hashes_(options.common.json) {}

  /// Takes every line, in batches that are stored whole or not at all.
  Outcome Run(LineReader& lines);

 private:
  /// Reads a batch; false when nothing is to follow it.  Nothing is locked meanwhile: the
  /// input may be slow.
  bool ReadBatch(LineReader& lines, std::vector<ImportLine>& batch);
  Outcome StoreBatch(std::vector<ImportLine>& batch);
  Outcome Failed();
  bool Store(ImportLine& line, Counts& counts, std::vector<NewHash>& renamed);
  void Print();

  const Options& options_;
  BaseDB& db_;
  EntryDB links_;  // ends after every transaction: its end writes
  NewHashes new_hashes_;
  Counts counts_;
  Progress progress_{"importing, line", 0};
};

Outcome Importer::Run(LineReader& lines) {
  std::vector<ImportLine> batch;
  bool more = true;
  while (more) {
    more = ReadBatch(lines, batch);
    const Outcome outcome = StoreBatch(batch);
    if (outcome != kDone) {
      Tell("before that, " + Counted(counts_.imported, "link") + " came in");
      return outcome;
    }
    // An array that is being written would be wiped away.
    if (!options_.common.json || !IsOutputTerminal()) progress_.Show(lines.number());
  }
  progress_.Wipe();
  Print();
  if (!lines.good()) {
    return End(kRefused, "the input cannot be read further than line " +
                             std::to_string(lines.number()) + ": " +
                             strerror(lines.error()));
  }
  if (Interrupted()) {
    return End(kInterrupted,
               "interrupted after " + Counted(counts_.imported, "link") + " came in");
  }
  return counts_.refused == 0 && counts_.skipped == 0 ? kDone : kRefused;
}

bool Importer::ReadBatch(LineReader& lines, std::vector<ImportLine>& batch) {
  batch.clear();
  std::string text;
  size_t bytes = 0;
  while (batch.size() < kBatch && bytes < kBatchBytes) {
    if (!lines.Next(text)) return false;
    if (IsBlank(text) && !lines.too_long()) continue;
    ImportLine line;
    std::string reason = "it is too long";
    if (!lines.too_long() && ParseImportLine(text, db_, line, reason)) {
      batch.push_back(line);
      bytes += text.size();
      continue;
    }
    ++counts_.refused;
    progress_.Wipe();
    Tell("line " + std::to_string(lines.number()) + ": " + reason);
    if (!options_.keep_going) return false;
  }
  return true;
}

Outcome Importer::StoreBatch(std::vector<ImportLine>& batch) {
  if (batch.empty()) return kDone;
  Counts counts = counts_;
  std::vector<NewHash> renamed;
  tools::Transaction change(db_);
  if (!change.good()) return Failed();
  for (ImportLine& line : batch) {
    if (!Store(line, counts, renamed)) return Failed();
  }
  if (!change.Commit()) return Failed();
  counts_ = counts;
  if (!renamed.empty()) progress_.Wipe();
  for (const NewHash& link : renamed) new_hashes_.Add(link);
  return kDone;
}

Outcome Importer::Failed() {
  progress_.Wipe();
  return DatabaseFailed(db_);
}

bool Importer::Store(ImportLine& line, Counts& counts, std::vector<NewHash>& renamed) {
  const std::string hash = line.link.get_hash();
  long taken = 0;
  if (!tools::SelectNumber(
          db_, "SELECT COUNT(*) AS n FROM entry WHERE hash = '" + db_.Escape(hash) + "'",
          taken)) {
    return false;
  }
  if (taken != 0 && !options_.new_hash) {
    ++counts.skipped;
    return true;
  }
  if (!(taken != 0 ? links_.CreateWithHash(line.link) : links_.Create(line.link))) {
    return false;
  }
  if (taken != 0) renamed.push_back({hash, line.link.get_hash()});
  ++counts.imported;
  if (line.without_password) ++counts.disabled;
  return true;
}

void Importer::Print() {
  new_hashes_.End();
  if (options_.common.json) {
    Json::Value out(Json::objectValue);
    out["imported"] = Json::Value::Int64{counts_.imported};
    out["skipped"] = Json::Value::Int64{counts_.skipped};
    out["refused"] = Json::Value::Int64{counts_.refused};
    out["disabled"] = Json::Value::Int64{counts_.disabled};
    std::cout << JsonText(out).substr(1) << "\n";  // goes on in the object begun
    return;
  }
  Sheet sheet;
  sheet.Add("Imported", Counted(counts_.imported, "link"));
  if (counts_.disabled > 0) {
    sheet.Add("Disabled",
              Counted(counts_.disabled, "link") +
                  " of these, whose password is not in the file: vexosharing edit HASH "
                  "--generate-password --enable opens one again",
              Style::kWarning);
  }
  if (counts_.skipped > 0) {
    sheet.Add("Skipped",
              Counted(counts_.skipped, "link") +
                  ", whose hash is there already: --new-hash gives another",
              Style::kWarning);
  }
  if (counts_.refused > 0) {
    sheet.Add("Refused",
              Counted(counts_.refused, "line") +
                  (options_.keep_going ? ""
                                       : "; what follows was not read: --keep-going "
                                         "passes over such lines"),
              Style::kBad);
  }
}

Outcome Import(const Options& options) {
  LineReader lines(options.file);
  if (!lines.good()) {
    return End(kRefused, options.file + " cannot be read: " + strerror(lines.error()));
  }
  const std::unique_ptr<SharingDB> db = OpenOrMakeDatabase(options.common.database);
  if (db == nullptr) return kNotUsable;
  return Importer(options, *db).Run(lines);
}

}  // namespace

void AddImport(CLI::App& app, Work& work) {
  const auto options = std::make_shared<Options>();
  CLI::App& command = AddCommand(
      app, "import",
      "Reads links from the lines that export writes.\n"
      "A link keeps its hash; one whose hash is there already is skipped.  Owner,\n"
      "users and groups go by name.  An owner who is not known here makes a bad line;\n"
      "one without a name keeps his number.  A password link whose line holds no stored\n"
      "password comes in disabled, under a password that nobody knows.  The first bad\n"
      "line ends the import; what stands before it is kept.",
      "vexosharing import --keep-going links.jsonl");
  command.add_option("FILE", options->file, "the lines; -, standard input, without it")
      ->transform(NotEmpty());
  command.add_flag("--new-hash", options->new_hash,
                   "a new hash for a link whose own is taken");
  command.add_flag("--keep-going", options->keep_going, "pass over bad lines");
  AddCommon(command, options->common);
  command.callback([options, &work] { work = [options] { return Import(*options); }; });
}

}  // namespace command
