#pragma once

namespace web {

/// The templates of the pages (Mustache), their style, and the script of the
/// button that copies the address of a link.
extern const char* const kPageTemplate;
extern const char* const kHeaderTemplate;
extern const char* const kLoginTemplate;
extern const char* const kOpenTemplate;
extern const char* const kFolderTemplate;
extern const char* const kGridTemplate;
extern const char* const kFileTemplate;
extern const char* const kDropTemplate;
extern const char* const kMessageTemplate;
extern const char* const kEarlyTemplate;
extern const char* const kStyle;
extern const char* const kCopy;

}  // namespace web
