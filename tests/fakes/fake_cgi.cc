#include <gtest/gtest.h>

#include <cstring>

#include "current_platform.h"
#include "vexo/autoblock.h"
#include "vexo/cgi.h"

using fakes::CallText;
using fakes::CurrentPlatform;
using fakes::Platform;

struct VexoCgiState {
  std::map<std::string, std::string> cookies;
};

namespace {

void ExpectInitialised(const VexoCgiContext* context, const char* function) {
  EXPECT_TRUE(context->state != nullptr) << function << " without VexoCgiInit";
}

}  // namespace

extern "C" {

int VexoCgiInit(const char* name, VexoCgiContext* context) {
  Platform& platform = CurrentPlatform();
  EXPECT_TRUE(context->state == nullptr) << "VexoCgiInit wants a zeroed context";
  if (platform.Refuse(CallText("VexoCgiInit", name))) return 0;
  context->state = new VexoCgiState;
  platform.HandOut(context->state, "CGI context");
  return 1;
}

void VexoCgiLoadInCookies(VexoCgiContext* context) {
  CurrentPlatform().Record(CallText("VexoCgiLoadInCookies"));
  ExpectInitialised(context, "VexoCgiLoadInCookies");
}

const char* VexoCgiGetRequestParam(VexoCgiContext* context, const char* name,
                                   int reserved) {
  Platform& platform = CurrentPlatform();
  platform.Record(CallText("VexoCgiGetRequestParam", name, reserved));
  ExpectInitialised(context, "VexoCgiGetRequestParam");
  const auto param = platform.request_params.find(name);
  return param == platform.request_params.end() ? nullptr : param->second.c_str();
}

int VexoCgiSetCookies(VexoCgiContext* context, const char* name, const char* value,
                      long expires, const char* path, const char* domain, int secure) {
  ExpectInitialised(context, "VexoCgiSetCookies");
  if (CurrentPlatform().Refuse(
          CallText("VexoCgiSetCookies", name, value, expires, path, domain, secure))) {
    return 0;
  }
  context->state->cookies[name] = value;
  return 1;
}

int VexoCgiLogin(VexoCgiContext* context, char* out, size_t size,
                 const VexoCgiLoginRequest* request) {
  Platform& platform = CurrentPlatform();
  ExpectInitialised(context, "VexoCgiLogin");
  std::memset(out, 0, size);  // so that a sanitizer finds a size beyond the buffer
  if (platform.Refuse(CallText("VexoCgiLogin", request->username, size))) return 0;
  const std::string username = request->username ? request->username : "";
  const std::string password = request->password ? request->password : "";
  platform.logins.push_back(
      {username, password, request->application ? request->application : "",
       request->reserved1, request->reserved2, context->state->cookies});
  const auto user = platform.users.find(username);
  const bool accepted = user != platform.users.end() && !password.empty() &&
                        user->second.password == password;
  return accepted ? 1 : 0;
}

int VexoCgiGetRemoteIP(char* buffer, size_t size) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VexoCgiGetRemoteIP", size))) return -1;
  if (platform.remote_ip.empty() || platform.remote_ip.size() >= size) return -1;
  platform.remote_ip.copy(buffer, size);
  buffer[platform.remote_ip.size()] = '\0';
  return 0;
}

int VexoCgiIsDeniedIP(const char* address) {
  Platform& platform = CurrentPlatform();
  platform.Record(CallText("VexoCgiIsDeniedIP", address));
  return platform.denied_ips.count(address) ? 1 : 0;
}

void VexoCgiFree(VexoCgiContext* context) {
  Platform& platform = CurrentPlatform();
  platform.Record(CallText("VexoCgiFree"));
  if (context->state == nullptr) return;
  platform.TakeBack(context->state, "CGI context");
  delete context->state;
  context->state = nullptr;
}

int AutoBlockFailLoginSet(const char* address, const char* service) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("AutoBlockFailLoginSet", address, service))) return -1;
  auto& failures = platform.failed_logins[address];
  failures.first = service;
  ++failures.second;
  return 0;
}

int VEXOAutoBlockFailLoginReset(const char* address) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VEXOAutoBlockFailLoginReset", address))) return -1;
  platform.failed_logins.erase(address);
  return 0;
}

int VEXOAutoBlockList(int (*each)(const VexoAutoBlockEntry* entry, void* context),
                      void* context) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VEXOAutoBlockList"))) return -1;
  for (const auto& [address, failures] : platform.failed_logins) {
    const VexoAutoBlockEntry entry = {address.c_str(), failures.second,
                                      failures.first.c_str(), 0};
    if (each(&entry, context) != 0) return 0;
  }
  for (const auto& [address, until] : platform.blocked_until) {
    const VexoAutoBlockEntry entry = {address.c_str(), 0, "", until};
    if (each(&entry, context) != 0) return 0;
  }
  return 0;
}

int VEXOAutoBlockClear(const char* address) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VEXOAutoBlockClear", address))) return -1;
  platform.failed_logins.erase(address);
  platform.denied_ips.erase(address);
  return 0;
}

}  // extern "C"
