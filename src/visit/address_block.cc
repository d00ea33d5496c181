#include "visit/address_block.h"

#include <arpa/inet.h>
#include <vexo/autoblock.h>
#include <vexo/cgi.h>

#include <algorithm>
#include <ctime>

#include "base/ipv6_network.h"

namespace VEXO::sharing {
namespace {

struct Block {
  std::string address;
  long until = 0;
};

int FindBlock(const VexoAutoBlockEntry* entry, void* context) {
  auto& block = *static_cast<Block*>(context);
  if (block.address != entry->address) return 0;
  block.until = entry->blocked_until;
  return 1;
}

}  // namespace

std::string BlockingKey(const std::string& address) {
  base::IPv6Address bytes = {};
  if (inet_pton(AF_INET6, address.c_str(), bytes.data()) != 1) return address;
  bytes = base::FirstOfNetwork(bytes);
  char text[INET6_ADDRSTRLEN] = "";
  return inet_ntop(AF_INET6, bytes.data(), text, sizeof(text));
}

long SecondsBlocked(const std::string& address) {
  if (VexoCgiIsDeniedIP(address.c_str()) != 1) return 0;
  Block block;
  block.address = BlockingKey(address);
  VEXOAutoBlockList(FindBlock, &block);
  return std::max(0L, block.until - static_cast<long>(time(nullptr)));
}

}  // namespace VEXO::sharing
