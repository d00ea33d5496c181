#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "sharing_visit.h"
#include "web/files/content_type.h"
#include "web/files/listing.h"
#include "web/files/readme.h"
#include "web/files/share.h"

namespace web {

// The pages, in the current language (language.h).  Texts of links and of visitors, and
// names of files, are passed as they are: the pages escape them.

/// The form that asks for a password or an account.
struct LoginPage {
  std::string title;     ///< what the link's owner set; may be empty
  bool users = false;    ///< asks for a user name, too
  std::string username;  ///< what the visitor entered
  VexoSharingVisitProblem problem = SHARING_VISIT_NO_PROBLEM;
};

/// What a page of content says about its link.
struct LinkFacts {
  std::string owner;         ///< user name; empty when it is not known
  time_t expires = 0;        ///< 0 for never
  std::optional<int> uses;   ///< that are left; nothing without a limit
  bool has_session = false;  ///< whether there is something to log out of
  std::string address;       ///< the URL of the link; empty when it is not known
};

/// A folder above the page, and the relative address that leads to it.
struct Crumb {
  std::string name;
  std::string href;
};

/// The page of a folder.
struct FolderPage {
  std::string heading;
  std::vector<Crumb> crumbs;
  LinkFacts facts;
  Listing listing;
  ListingQuery query;
  std::optional<Readme> readme;
  size_t depth = 0;  ///< folders that the page is below the root of the link
};

/// The page of a file, with its preview.
struct FilePage {
  std::string heading;
  std::vector<Crumb> crumbs;
  LinkFacts facts;
  std::string name;
  std::string href;      ///< the file
  std::string download;  ///< the file as an attachment
  std::uint64_t size = 0;
  time_t modified = 0;
  Preview preview = Preview::kNone;
  std::string text;  ///< for Preview::kText
  bool text_cut = false;
  std::string previous;  ///< picture before this one; empty for none
  std::string next;
  ListingQuery query;  ///< view and order of the folder
};

/// The form that sends files.
struct DropPage {
  std::string title;  ///< what the link's owner set; may be empty
  LinkFacts facts;
  DropLimits limits;
  int sent = 0;  ///< files that were received; 0 for none
  enum class Problem {
    kNone,
    kNoFile,
    kTooLarge,
    kTooMany,
    kTextTooLong,
    kIncomplete,
    kNoSpace
  } problem = Problem::kNone;
};

/// A page that says why nothing else is shown.
enum class Message {
  kMissing,
  kGone,  ///< what the link shares does not exist any more
  kUsedUp,
  kBlocked,
  kNotAdmitted,
  kCrossSite,
  kBadRequest,
  kMethod,
  kTooLong,
  kFormTooLarge,
  kFormType,
  kNoLength,
  kTryLater,
  kFailed,
};

/// Each returns a whole page as HTML.
std::string RenderLogin(const LoginPage& page);
std::string RenderOpen(const std::string& title);
std::string RenderFolder(const FolderPage& page);
std::string RenderFile(const FilePage& page);
std::string RenderDrop(const DropPage& page);
std::string RenderMessage(Message message);

/// The page that says when the link can be opened.
std::string RenderEarly(time_t start);

/// The style of the pages, and the script of those of content, for a
/// Content-Security-Policy: 'sha256-...'.
extern const char* const kStyleHash;
extern const char* const kCopyHash;

/// The relative address of an entry of the folder that a page shows, or of a path below
/// it.  A name that a browser would take for something else is behind "./".
std::string EntryHref(const std::string& path);

/// Value of the parameter `zip` when a form of the folder asks for selected entries.
extern const char* const kSelected;

}  // namespace web
