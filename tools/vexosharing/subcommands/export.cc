#include "admin/link_line.h"
#include "cli/new_file.h"
#include "subcommands/table.h"
#include "terminal/terminal.h"

namespace command {

namespace {

struct Options : CommonOptions {
  std::string file = "-";
  bool with_secrets = false;
  bool force = false;
};

/// Writes every readable link; false, reported, when `file` (null: standard
/// output) cannot be written.
bool WriteLinks(admin::LinkReader& reader, bool with_secrets, NewFile* file) {
  Progress progress("exporting links", reader.total());
  Entry link;
  while (std::cout && !Interrupted() && reader.Next(link)) {
    const std::string line = admin::LinkLine(link, with_secrets) + "\n";
    if (file == nullptr) {
      std::cout << line;
    } else if (!file->Append(line)) {
      return false;
    }
    if (file != nullptr || !IsOutputTerminal()) progress.Show(reader.done());
  }
  return true;
}

void Print(const Options& options, const admin::LinkReader& reader) {
  const long written = reader.done() - static_cast<long>(reader.unreadable().size());
  if (options.json) {
    PrintJson(admin::JsonObject({{"file", options.file},
                                 {"exported", Json::Int64{written}},
                                 {"unreadable", UnreadableJson(reader.unreadable())}}));
  } else {
    std::cout << "Exported " << Counted(written, "link") << " to "
              << Printable(options.file) << ".\n";
  }
}

ExitCode Export(const Options& options) {
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
    Print(options, reader);
  }
  ReportUnreadable(reader.unreadable());
  return reader.unreadable().empty() ? kSuccess : kRefused;
}

}  // namespace

Action AddExport(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.add_option("FILE", options->file, "file to create (default: standard output)")
      ->transform(NotEmpty());
  command.add_flag("--with-secrets", options->with_secrets,
                   "include stored passwords and private data");
  command.add_flag("--force", options->force, "replace an existing file");
  AddCommon(command, *options);
  return [options] { return Export(*options); };
}

}  // namespace command
