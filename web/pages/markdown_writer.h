#pragma once

#include <md4c.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "web/pages/text_link.h"

namespace web {

/// Writes the HTML of what the parser of Markdown finds (markdown.h).
class MarkdownWriter {
 public:
  explicit MarkdownWriter(size_t depth) : depth_(depth) {}

  void EnterBlock(MD_BLOCKTYPE type, const void* detail);
  void LeaveBlock();
  void EnterSpan(MD_SPANTYPE type, const void* detail);
  void LeaveSpan(MD_SPANTYPE type);
  void Text(MD_TEXTTYPE type, std::string_view text);

  /// Whether the text must be cut.
  bool full() const { return html_.size() + targets_ > kLargestHtml; }
  /// Closes what is open.
  std::string Finish() {
    while (!open_.empty()) Close();
    return std::move(html_);
  }

 private:
  static constexpr size_t kLargestHtml = 1 << 20;
  static constexpr size_t kLargestDepth = 16;

  enum class Kind : std::uint8_t { kLeftOut, kPlain, kHeading, kColumn, kLink, kPicture };

  static constexpr std::int8_t kBlock = -1;

  /// An element of the text.  There may be as many as characters.
  struct Element {
    const char* end;      ///< its end tag
    std::uint32_t begin;  ///< where its start tag is in the HTML
    Kind kind;
    std::int8_t span;  ///< its type, or kBlock
    bool seen;         ///< whether a person sees something in it
  };

  void Open(Kind kind, const std::string& tag, const char* end) {
    ++counts_[static_cast<size_t>(kind)];
    open_.push_back({end, static_cast<std::uint32_t>(html_.size()), kind, kBlock, false});
    html_ += tag;
  }
  void LeaveOut() { Open(Kind::kLeftOut, "", ""); }
  /// For elements that may be inside each other.
  void OpenNested(Kind kind, const std::string& tag, const char* end) {
    if (open_.size() >= kLargestDepth) return LeaveOut();
    Open(kind, tag, end);
  }
  /// For the parts of a list or of a table.
  void OpenPart(Kind kind, const std::string& tag, const char* end) {
    if (open_.back().kind == Kind::kLeftOut) return LeaveOut();
    Open(kind, tag, end);
  }
  bool IsInside(Kind kind) const { return counts_[static_cast<size_t>(kind)] != 0; }
  /// The link to a target; nothing when it may not be one.
  std::optional<TextLink> LinkTo(const MD_ATTRIBUTE& target, const MD_ATTRIBUTE& title);
  void OpenHeading(unsigned int level);
  void OpenLink(const MD_SPAN_A_DETAIL& detail);
  void OpenPicture(const MD_SPAN_IMG_DETAIL& detail);
  void OpenSpan(MD_SPANTYPE type, const void* detail);
  void Close();
  void ReplaceTag(Element* element, const char* tag, const char* end);
  void ReplaceEmptyElement(Element* element);

  const size_t depth_;
  std::string html_;
  std::vector<Element> open_;
  std::array<size_t, 6> counts_ = {};  // of the open elements, by kind
  size_t targets_ = 0;  // bytes; one definition can be the target of many links
  unsigned int last_heading_ = 1;
};

}  // namespace web
