#include <cstdlib>

#include "internal/popen.h"
#include "utils.h"
#include "utils/log.h"

namespace VEXO::sharing {

namespace {

const char kSource[] = "utils_sharing_url";

const char kTool[] = "/usr/vexo/bin/vexosharingurl";

constexpr int kUrlSize = 4096;
constexpr int kTypeSize = 4;

}  // namespace

bool GetSharingURL(const std::string& first, int number, bool flag,
                   const std::string& fourth, const std::string& fifth, std::string& url,
                   _tag_SHARING_URL_TYPE& type) {
  const std::string number_text = ToString<const int>(number);
  const std::string flag_text = ToString(flag);
  const char* const argv[] = {"vexosharingurl",
                              first.c_str(),
                              number_text.c_str(),
                              flag_text.c_str(),
                              fourth.c_str(),
                              fifth.c_str(),
                              nullptr};
  const Popen tool(kTool, argv);
  if (tool.file == nullptr) {
    LogError("%s:%d (%u) popen failed\n\n", kSource, __LINE__, Pid());
    return false;
  }

  char url_line[kUrlSize] = {};
  SHARING_REFUSE_IF(__LINE__, fgets(url_line, sizeof(url_line), tool.file) == nullptr,
                    "NULL == fgets(szUrl, BUF_SIZE_, file.file)");
  std::string line = url_line;
  if (!line.empty()) {
    line.pop_back();  // the line end, or another character
  }
  url = line;  // set even when the second line is missing

  char type_line[kTypeSize] = {};
  SHARING_REFUSE_IF(__LINE__, fgets(type_line, sizeof(type_line), tool.file) == nullptr,
                    "NULL == fgets(szType, TYPE_BUF_SIZE_, file.file)");
  type = static_cast<_tag_SHARING_URL_TYPE>(atoi(type_line));
  return true;
}

bool GetSharingURL(const std::string& first, int number, bool flag,
                   const std::string& fifth, std::string& url,
                   _tag_SHARING_URL_TYPE& type) {
  return GetSharingURL(first, number, flag, "", fifth, url, type);
}

}  // namespace VEXO::sharing
