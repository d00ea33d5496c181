#include "web/record/record.h"

#include "base/access_log.h"
#include "web/files/display_name.h"
#include "web/pages/format.h"

namespace web {
namespace {

// Hashes are much shorter, but one that nobody has checked may be as long as an address.
constexpr size_t kLongestLink = 256;
constexpr size_t kLongestPath = 3000;
constexpr size_t kLongestRest = 512;
static_assert(kLongestLink + kLongestPath + kLongestRest <=
              VEXO::base::kLongestAccessLine);

}  // namespace

std::string FormatRecord(const LoggedVisit& visit, time_t now, int status,
                         std::uint64_t bytes) {
  std::string line = VEXO::base::kAccessLineBegin + FormatIsoTime(now) + '"';
  line += R"(,"link":")" + JsonText(visit.link, kLongestLink) + '"';
  line += R"(,"event":")" + std::string(visit.event) + '"';
  if (visit.code != 0) line += R"(,"code":)" + std::to_string(visit.code);
  line += R"(,"status":)" + std::to_string(status);
  line += R"(,"path":")" + JsonText(visit.path, kLongestPath) + '"';
  line += R"(,"bytes":)" + std::to_string(bytes);
  if (!visit.address.empty()) line += R"(,"address":")" + visit.address + '"';
  return line + "}\n";
}

}  // namespace web
