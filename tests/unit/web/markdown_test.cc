#include "web/pages/markdown.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "web/pages/characters.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using web::RenderedMarkdown;
using web::RenderMarkdown;

std::string Html(const std::string& text, size_t depth = 0) {
  std::string html = RenderMarkdown(text, depth).html;
  html.erase(std::remove(html.begin(), html.end(), '\n'), html.end());
  return html;
}

/// The text as many times as fit in the largest file.
std::string Repeat(const std::string& text) {
  std::string repeated;
  while (repeated.size() + text.size() <= 256 << 10) repeated += text;
  return repeated;
}

/// The first tag that does not fit the ones before; empty when all fit.
std::string FirstWrongTag(const std::string& html, size_t* deepest) {
  std::vector<std::string> open;
  for (size_t at = html.find('<'); at != std::string::npos; at = html.find('<', at + 1)) {
    const size_t end = html.find('>', at);
    if (end == std::string::npos) return html.substr(at);
    const std::string tag = html.substr(at + 1, end - at - 1);
    const std::string name = tag.substr(0, tag.find(' '));
    if (name == "img" || name == "br" || name == "hr") continue;
    if (name[0] != '/') {
      open.push_back(name);
      *deepest = std::max(*deepest, open.size());
    } else if (open.empty() || "/" + open.back() != name) {
      return tag;
    } else {
      open.pop_back();
    }
  }
  return open.empty() ? "" : open.back();
}

TEST(Markdown, UsualElements_BecomeHtml) {
  EXPECT_EQ(Html("a *b* **c** `d` ~~e~~"),
            "<p>a <em>b</em> <strong>c</strong> <code>d</code> <del>e</del></p>");
  EXPECT_EQ(Html("- a\n- b\n\n3. c"),
            "<ul><li>a</li><li>b</li></ul><ol start=\"3\"><li>c</li></ol>");
  EXPECT_EQ(Html("> a\n\n---\n\n    <code>"),
            "<blockquote><p>a</p></blockquote><hr><pre><code>&lt;code&gt;</code></pre>");
  EXPECT_EQ(
      Html("|a|b|\n|---|---|\n|c|d|"),
      "<table><thead><tr><th scope=\"col\">a</th><th scope=\"col\">b</th></tr></thead>"
      "<tbody><tr><td>c</td><td>d</td></tr></tbody></table>");
}

TEST(Markdown, RawHtml_IsText) {
  const std::string html =
      Html("<script>alert(1)</script>\n\n<b onclick=x>\n\n<!-- c -->");
  EXPECT_EQ(html,
            "<p>&lt;script&gt;alert(1)&lt;/script&gt;</p><p>&lt;b onclick=x&gt;</p>"
            "<p>&lt;!-- c --&gt;</p>");
}

TEST(Markdown, Headings_BeginWithTwoAndSkipNoLevel) {
  EXPECT_EQ(Html("# a\n### b\n###### c\n# d"),
            "<h2>a</h2><h3>b</h3><h4>c</h4><h2>d</h2>");
  EXPECT_EQ(Html("# a\n## b\n### c\n#### d\n##### e\n###### f").find("<h7"),
            std::string::npos);
}

TEST(Markdown, WhatNobodySees_IsNoHeadingColumnOrEmptyLink) {
  EXPECT_EQ(
      Html("#\n# &nbsp;\n# ![](a.png)"),
      "<p></p><p>\xC2\xA0</p><p><img src=\"./a.png\" loading=\"lazy\" alt=\"\"></p>");
  EXPECT_EQ(Html("[](https://host/)"),
            "<p><a href=\"https://host/\" rel=\"noopener noreferrer nofollow\">"
            "https://host/</a></p>");
  EXPECT_THAT(Html("|b||\n|---|---|\n"),
              HasSubstr("<tr><th scope=\"col\">b</th><td></td></tr>"));
}

TEST(Markdown, Links_AreThoseOfTheTree) {
  EXPECT_EQ(Html("[a](b.txt) <me@host.example>"),
            "<p><a href=\"./b.txt\">a</a> "
            "<a href=\"mailto:me@host.example\">me@host.example</a></p>");
  for (const char* const target :
       {"javascript:x", "javascript&#58;x", "&#x6A;avascript:x", "<java&Tab;script:x>",
        "data:text/html,x", "../up"}) {
    EXPECT_THAT(Html("[a](" + std::string(target) + ")"), Not(HasSubstr("<a"))) << target;
  }
  EXPECT_EQ(Html("[a](../up)", 1), "<p><a href=\"./../up\">a</a></p>");
}

TEST(Markdown, Pictures_AreThoseOfTheTree) {
  EXPECT_EQ(Html("![a *b* \"c\"](d.png \"title\")"),
            "<p><img src=\"./d.png\" loading=\"lazy\" alt=\"a b &quot;c&quot;\"></p>");
  for (const char* const source :
       {"https://host/a.png", "data:image/png,x", "//host/a.png", "../a.png"}) {
    EXPECT_EQ(Html("![a](" + std::string(source) + ")"), "<p>a</p>") << source;
  }
}

TEST(Markdown, PictureWithinTheTextOfAPicture_IsText) {
  EXPECT_EQ(Html("![a ![b](c.png) [d](e)](f.png)"),
            "<p><img src=\"./f.png\" loading=\"lazy\" alt=\"a b d\"></p>");
}

TEST(Markdown, SpansThatTheParserLeavesInAnotherOrder_AreClosed) {
  for (const char* const text : {"[](*)*", "_>[](`_)"}) {
    size_t deepest = 0;
    EXPECT_EQ(FirstWrongTag(RenderMarkdown(text, 0).html, &deepest), "") << text;
  }
}

TEST(Markdown, Attributes_CannotBeLeft) {
  EXPECT_THAT(Html("[a](<b\"onclick=x>) ![\" onerror=x](c\"d.png)"),
              testing::AllOf(Not(HasSubstr("\"onclick")), Not(HasSubstr("\" onerror"))));
}

TEST(Markdown, Entities_AreDecoded) {
  EXPECT_EQ(Html("&amp;lt; &lt; &#65;&#x42; &unknown; &#0; &#x202e;"),
            "<p>&amp;lt; &lt; AB &amp;unknown; \xEF\xBF\xBD \xE2\x80\xAE</p>");
  EXPECT_EQ(web::DecodeEntity("&#xD800;"), "\xEF\xBF\xBD");
  EXPECT_EQ(web::DecodeEntity("&#9999999;"), "\xEF\xBF\xBD");
}

TEST(Markdown, DeepNesting_IsCut) {
  for (const char* const unit : {"> ", "- ", "*a **b ", "1. "}) {
    size_t deepest = 0;
    const RenderedMarkdown rendered = RenderMarkdown(Repeat(unit), 0);
    EXPECT_EQ(FirstWrongTag(rendered.html, &deepest), "") << unit;
    EXPECT_LE(deepest, 32U) << unit;
  }
}

TEST(Markdown, LongResult_IsCut) {
  const std::string table = "|" + Repeat("a|").substr(0, 100000) + "\n|" +
                            Repeat("---|").substr(0, 100000) + "\n" +
                            Repeat("a|\n").substr(0, 60000);
  const std::string definition =
      "[a]: /" + std::string(100000, 'x') + "\n\n" + Repeat("[a] ").substr(0, 100000);
  for (const std::string& text : {table, definition, Repeat("&")}) {
    size_t deepest = 0;
    const RenderedMarkdown rendered = RenderMarkdown(text, 0);
    EXPECT_FALSE(rendered.complete);
    EXPECT_LT(rendered.html.size(), (1U << 20) + (1U << 19));
    EXPECT_EQ(FirstWrongTag(rendered.html, &deepest), "");
  }
}

TEST(Markdown, AnyText_MakesElementsThatAreClosed) {
  constexpr std::array<const char*, 22> kParts = {
      "*",   "_",  "[",     "](",        ")",           "!",  "`",    "<",
      ">",   "| ", "\n",    "\n\n",      "- ",          "# ", "    ", "a",
      "1. ", "~~", "&#60;", "http://h/", "|---|---|\n", "\""};
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    for (int i = 0; i < 200; ++i) text += kParts[random() % kParts.size()];
    size_t deepest = 0;
    const std::string html = RenderMarkdown(text, 0).html;
    ASSERT_EQ(FirstWrongTag(html, &deepest), "") << text;
  }
}

}  // namespace
