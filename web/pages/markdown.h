#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace web {

/// A text in Markdown as HTML.
struct RenderedMarkdown {
  std::string html;
  bool complete = true;  ///< false when the HTML would be too long and was cut
};

/// Renders CommonMark with tables and strikethrough.  The result is valid within a
/// <section>, whatever the text is: raw HTML in it is text, headings begin with <h2> and
/// skip no level, elements have no ids, and links are those of ParseTextLink.  A picture
/// must be below the sharing link.  What is nested too deeply is shown without its
/// element.
///
/// @param text   as DisplayText returns it
/// @param depth  folders that the page is below the root of the sharing link
RenderedMarkdown RenderMarkdown(std::string_view text, size_t depth);

}  // namespace web
