#include "markdown.h"

#include <md4c.h>

#include "web/pages/markdown_writer.h"

namespace web {
namespace {

constexpr size_t kMostBrackets = 32 << 10;  // the parser needs 64 bytes for each

/// What tells the parser whether to go on.
int Proceed(const void* writer) {
  return static_cast<const MarkdownWriter*>(writer)->full() ? -1 : 0;
}

int EnterBlock(MD_BLOCKTYPE type, void* detail, void* writer) {
  static_cast<MarkdownWriter*>(writer)->EnterBlock(type, detail);
  return Proceed(writer);
}

int LeaveBlock(MD_BLOCKTYPE /*type*/, void* /*detail*/, void* writer) {
  static_cast<MarkdownWriter*>(writer)->LeaveBlock();
  return 0;
}

int EnterSpan(MD_SPANTYPE type, void* detail, void* writer) {
  static_cast<MarkdownWriter*>(writer)->EnterSpan(type, detail);
  return Proceed(writer);
}

int LeaveSpan(MD_SPANTYPE type, void* /*detail*/, void* writer) {
  static_cast<MarkdownWriter*>(writer)->LeaveSpan(type);
  return 0;
}

int Text(MD_TEXTTYPE type, const MD_CHAR* text, MD_SIZE size, void* writer) {
  static_cast<MarkdownWriter*>(writer)->Text(type, std::string_view(text, size));
  return Proceed(writer);
}

/// The beginning of the text that can be parsed in bounded memory.
std::string_view ParsedPart(std::string_view text) {
  size_t brackets = 0;
  size_t end = text.find('[');
  while (end != std::string_view::npos && ++brackets <= kMostBrackets) {
    end = text.find('[', end + 1);
  }
  return text.substr(0, end);
}

}  // namespace

RenderedMarkdown RenderMarkdown(std::string_view text, size_t depth) {
  // Not MD_FLAG_PERMISSIVEAUTOLINKS: its search for URLs takes quadratic time.
  constexpr unsigned int kFlags = MD_FLAG_NOHTML | MD_FLAG_TABLES | MD_FLAG_STRIKETHROUGH;
  const MD_PARSER parser = {0,         kFlags, EnterBlock, LeaveBlock, EnterSpan,
                            LeaveSpan, Text,   nullptr,    nullptr};
  MarkdownWriter writer(depth);
  const std::string_view part = ParsedPart(text);
  const int result =
      md_parse(part.data(), static_cast<MD_SIZE>(part.size()), &parser, &writer);
  RenderedMarkdown rendered;
  rendered.complete = result == 0 && part.size() == text.size();
  rendered.html = writer.Finish();
  return rendered;
}

}  // namespace web
