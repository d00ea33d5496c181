#include "markdown_writer.h"

#include <algorithm>

#include "web/pages/characters.h"
#include "web/pages/markup.h"

namespace web {
namespace {

constexpr size_t kLargestTarget = 2 << 10;
constexpr unsigned int kLowestHeading = 6;
constexpr std::string_view kLinkTag = "<a href=\"";

/// The text of an attribute, its entities decoded.
std::string TextOf(const MD_ATTRIBUTE& attribute) {
  std::string text;
  for (size_t i = 0; attribute.substr_offsets[i] < attribute.size; ++i) {
    const MD_OFFSET begin = attribute.substr_offsets[i];
    const std::string_view part(attribute.text + begin,
                                attribute.substr_offsets[i + 1] - begin);
    text += attribute.substr_types[i] == MD_TEXT_ENTITY ? DecodeEntity(part)
                                                        : std::string(part);
  }
  return text;
}

}  // namespace

void MarkdownWriter::EnterBlock(MD_BLOCKTYPE type, const void* detail) {
  switch (type) {
    case MD_BLOCK_QUOTE:
      return OpenNested(Kind::kPlain, "<blockquote>", "</blockquote>");
    case MD_BLOCK_UL:
      return OpenNested(Kind::kPlain, "<ul>", "</ul>");
    case MD_BLOCK_OL: {
      const unsigned int start = static_cast<const MD_BLOCK_OL_DETAIL*>(detail)->start;
      const std::string tag =
          start == 1 ? "<ol>" : "<ol start=\"" + std::to_string(start) + "\">";
      return OpenNested(Kind::kPlain, tag, "</ol>");
    }
    case MD_BLOCK_LI:
      return OpenPart(Kind::kPlain, "<li>", "</li>");
    case MD_BLOCK_HR:
      html_ += "<hr>";
      return LeaveOut();
    case MD_BLOCK_H:
      return OpenHeading(static_cast<const MD_BLOCK_H_DETAIL*>(detail)->level);
    case MD_BLOCK_CODE:
      return Open(Kind::kPlain, "<pre><code>", "</code></pre>");
    case MD_BLOCK_P:
      return Open(Kind::kPlain, "<p>", "</p>\n");
    case MD_BLOCK_TABLE:
      return OpenNested(Kind::kPlain, "<table>", "</table>");
    case MD_BLOCK_THEAD:
      return OpenPart(Kind::kPlain, "<thead>", "</thead>");
    case MD_BLOCK_TBODY:
      return OpenPart(Kind::kPlain, "<tbody>", "</tbody>");
    case MD_BLOCK_TR:
      return OpenPart(Kind::kPlain, "<tr>", "</tr>\n");
    case MD_BLOCK_TH:
      return OpenPart(Kind::kColumn, "<th scope=\"col\">", "</th>");
    case MD_BLOCK_TD:
      return OpenPart(Kind::kPlain, "<td>", "</td>");
    default:
      return LeaveOut();
  }
}

void MarkdownWriter::LeaveBlock() {
  while (open_.back().span != kBlock) Close();
  Close();
}

void MarkdownWriter::EnterSpan(MD_SPANTYPE type, const void* detail) {
  OpenSpan(type, detail);
  open_.back().span = static_cast<std::int8_t>(type);
}

/// The parser may leave spans in another order than it has entered them, as in
/// "[](*)*".
void MarkdownWriter::LeaveSpan(MD_SPANTYPE type) {
  const auto found =
      std::find_if(open_.rbegin(), open_.rend(), [type](const Element& element) {
        return element.span == kBlock || element.span == type;
      });
  if (found == open_.rend() || found->span == kBlock) return;
  const size_t left = open_.rend() - found - 1;
  while (open_.size() > left) Close();
}

void MarkdownWriter::OpenSpan(MD_SPANTYPE type, const void* detail) {
  if (IsInside(Kind::kPicture)) return LeaveOut();  // only text can be in an attribute
  switch (type) {
    case MD_SPAN_EM:
      return OpenNested(Kind::kPlain, "<em>", "</em>");
    case MD_SPAN_STRONG:
      return OpenNested(Kind::kPlain, "<strong>", "</strong>");
    case MD_SPAN_DEL:
      return OpenNested(Kind::kPlain, "<del>", "</del>");
    case MD_SPAN_CODE:
      return OpenNested(Kind::kPlain, "<code>", "</code>");
    case MD_SPAN_A:
      return OpenLink(*static_cast<const MD_SPAN_A_DETAIL*>(detail));
    case MD_SPAN_IMG:
      return OpenPicture(*static_cast<const MD_SPAN_IMG_DETAIL*>(detail));
    default:
      return LeaveOut();
  }
}

/// The page has an <h1>.  No level is skipped, so that the headings make an outline.
void MarkdownWriter::OpenHeading(unsigned int level) {
  static const char* const kEnds[] = {"</h1>", "</h2>", "</h3>",
                                      "</h4>", "</h5>", "</h6>"};
  last_heading_ = std::min({level + 1, last_heading_ + 1, kLowestHeading});
  Open(Kind::kHeading, "<h" + std::to_string(last_heading_) + ">",
       kEnds[last_heading_ - 1]);
}

std::optional<TextLink> MarkdownWriter::LinkTo(const MD_ATTRIBUTE& target,
                                               const MD_ATTRIBUTE& title) {
  targets_ += target.size + title.size;
  if (target.size > kLargestTarget) return std::nullopt;
  return ParseTextLink(TextOf(target), depth_);
}

void MarkdownWriter::OpenLink(const MD_SPAN_A_DETAIL& detail) {
  const std::optional<TextLink> link = LinkTo(detail.href, detail.title);
  if (!link || IsInside(Kind::kLink)) return LeaveOut();
  std::string tag(kLinkTag);
  AppendEscaped(link->href, &tag);
  const bool external = link->kind == TextLink::Kind::kExternal;
  OpenNested(Kind::kLink,
             tag + (external ? "\" rel=\"noopener noreferrer nofollow\">" : "\">"),
             "</a>");
}

void MarkdownWriter::OpenPicture(const MD_SPAN_IMG_DETAIL& detail) {
  const std::optional<TextLink> link = LinkTo(detail.src, detail.title);
  if (!link || link->kind != TextLink::Kind::kBelow) return LeaveOut();
  html_ += "<img src=\"";
  AppendEscaped(link->href, &html_);
  html_ += "\" loading=\"lazy\" alt=\"";
  Open(Kind::kPicture, "", "\">");
}

void MarkdownWriter::Close() {
  Element element = open_.back();
  open_.pop_back();
  --counts_[static_cast<size_t>(element.kind)];
  if (!element.seen) ReplaceEmptyElement(&element);
  html_ += element.end;
  if (element.seen && !open_.empty()) open_.back().seen = true;
}

void MarkdownWriter::ReplaceTag(Element* element, const char* tag, const char* end) {
  html_.replace(element->begin, html_.find('>', element->begin) + 1 - element->begin,
                tag);
  element->end = end;
}

/// Programs that read a page aloud need a text for headings and links.
void MarkdownWriter::ReplaceEmptyElement(Element* element) {
  switch (element->kind) {
    case Kind::kHeading:
      return ReplaceTag(element, "<p>", "</p>");
    case Kind::kColumn:
      return ReplaceTag(element, "<td>", "</td>");
    case Kind::kPicture:
      html_.resize(element->begin);
      return;
    case Kind::kLink: {
      const size_t address = element->begin + kLinkTag.size();
      html_ += html_.substr(address, html_.find('"', address) - address);
      element->seen = true;
      return;
    }
    default:
      return;
  }
}

void MarkdownWriter::Text(MD_TEXTTYPE type, std::string_view text) {
  if (type == MD_TEXT_BR) {
    html_ += IsInside(Kind::kPicture) ? "\n" : "<br>\n";
  } else if (type == MD_TEXT_SOFTBR) {
    html_ += '\n';
  } else {
    const std::string shown =
        type == MD_TEXT_ENTITY ? DecodeEntity(text) : std::string(text);
    AppendEscaped(shown, &html_);
    if (!open_.empty() && IsVisible(shown)) open_.back().seen = true;
  }
}

}  // namespace web
