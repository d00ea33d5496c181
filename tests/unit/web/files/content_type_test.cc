#include "web/files/content_type.h"

#include <gtest/gtest.h>

using web::ContentTypeOf;
using web::Preview;

namespace {

constexpr char kBinary[] = "application/octet-stream";
constexpr char kText[] = "text/plain; charset=utf-8";

}  // namespace

TEST(ContentType, WhatBrowsersShow_HasItsTypeAndPreview) {
  EXPECT_EQ(ContentTypeOf("a.png").type, "image/png");
  EXPECT_EQ(ContentTypeOf("a.jpg").type, "image/jpeg");
  EXPECT_EQ(ContentTypeOf("A.B.JPEG").type, "image/jpeg");
  EXPECT_EQ(ContentTypeOf("a.mp3").preview, Preview::kAudio);
  EXPECT_EQ(ContentTypeOf("a.mp4").preview, Preview::kVideo);
  EXPECT_EQ(ContentTypeOf("a.pdf").preview, Preview::kPdf);
  for (const char* const ending : {"png", "jpg", "gif", "webp", "avif", "bmp", "mp3",
                                   "ogg", "wav", "flac", "m4a", "mp4", "webm", "pdf"}) {
    EXPECT_NE(ContentTypeOf(std::string("a.") + ending).type, kBinary) << ending;
    EXPECT_TRUE(ContentTypeOf(std::string("a.") + ending).Inline()) << ending;
  }
}

TEST(ContentType, TextAndSource_IsPlainText) {
  for (const char* const name :
       {"a.txt", "a.MD", "a.c", "a.py", "a.sh", "a.json", "README", "a.css", ".txt"}) {
    EXPECT_EQ(ContentTypeOf(name).type, kText) << name;
    EXPECT_EQ(ContentTypeOf(name).preview, Preview::kText) << name;
  }
}

TEST(ContentType, WhatBrowsersRunOrIsUnknown_IsAnAttachment) {
  for (const char* const name :
       {"a.html", "a.htm",      "a.HTML", "a.xhtml", "a.xht",    "a.svg",
        "a.svgz", "a.xml",      "a.xsl",  "a.js",    "a.mjs",    "a.cjs",
        "a.ts",   "a.wasm",     "a.swf",  "a.mht",   "a.mhtml",  "a.shtml",
        "a.exe",  "a.zip",      "a.docx", "a",       "",         ".",
        "png",    "a.png.html", "a.png ", "a.png.",  "a.txt.svg"}) {
    EXPECT_EQ(ContentTypeOf(name).type, kBinary) << name;
    EXPECT_FALSE(ContentTypeOf(name).Inline()) << name;
  }
}
