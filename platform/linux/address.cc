#include "address.h"

#include <arpa/inet.h>
#include <syslog.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "base/number.h"
#include "base/text.h"

namespace VEXO::platform {
namespace {

constexpr unsigned char kMapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
constexpr int kMappedBits = 96;
constexpr int kAllBits = 128;
constexpr int kLargestPort = 65535;

/// Whether the text is empty or a colon and a port.
bool IsPortOrNothing(const std::string& text) {
  return text.empty() || (text.front() == ':' &&
                          base::ParseNumber(text.substr(1), 0, kLargestPort).has_value());
}

/// The address in an item of X-Forwarded-For, without its port.
std::optional<Address> ParseItem(const std::string& item) {
  if (item.front() == '[') {
    const size_t end = std::min(item.find(']'), item.size() - 1);
    if (item[end] != ']' || !IsPortOrNothing(item.substr(end + 1))) return std::nullopt;
    const std::string inside = item.substr(1, end - 1);
    return inside.find(':') == std::string::npos ? std::nullopt : Address::Parse(inside);
  }
  const size_t colon = item.find(':');
  const bool has_port =
      colon != std::string::npos && item.find(':', colon + 1) == std::string::npos;
  if (!has_port) return Address::Parse(item);
  if (!IsPortOrNothing(item.substr(colon))) return std::nullopt;
  return Address::Parse(item.substr(0, colon));
}

void LogUnusableList(const Address& proxy) {
  static std::atomic_flag logged = ATOMIC_FLAG_INIT;
  if (logged.test_and_set()) return;
  syslog(LOG_WARNING,
         "X-Forwarded-For of the trusted proxy %s holds no usable address: the proxy "
         "itself counts as the client",
         proxy.Text().c_str());
}

}  // namespace

std::optional<Address> Address::Parse(const std::string& text) {
  if (text.find('\0') != std::string::npos) return std::nullopt;
  Address address;
  if (inet_pton(AF_INET6, text.c_str(), address.bytes_.data()) == 1) return address;
  std::copy(std::begin(kMapped), std::end(kMapped), address.bytes_.begin());
  unsigned char* const last_four = address.bytes_.data() + sizeof(kMapped);
  if (inet_pton(AF_INET, text.c_str(), last_four) == 1) return address;
  return std::nullopt;
}

bool Address::IsIPv4() const {
  return std::equal(std::begin(kMapped), std::end(kMapped), bytes_.begin());
}

std::string Address::Text() const {
  if (!IsIPv4()) {
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(AF_INET6, bytes_.data(), text, sizeof(text));
    return text;
  }
  // Not by inet_ntop, which formats each number with sprintf.
  std::string text;
  for (std::size_t i = sizeof(kMapped); i < bytes_.size(); ++i) {
    if (!text.empty()) text += '.';
    text += std::to_string(bytes_[i]);
  }
  return text;
}

Address Address::BlockingKey() const {
  Address key = *this;
  if (!IsIPv4()) key.bytes_ = base::FirstOfNetwork(bytes_);
  return key;
}

bool Address::SharesPrefix(const Address& other, int bits) const {
  const int whole = bits / 8;
  if (memcmp(bytes_.data(), other.bytes_.data(), whole) != 0) return false;
  const int rest = bits % 8;
  return rest == 0 || (bytes_[whole] ^ other.bytes_[whole]) >> (8 - rest) == 0;
}

std::optional<Network> Network::Parse(const std::string& text) {
  const size_t slash = text.find('/');
  const std::optional<Address> base = Address::Parse(text.substr(0, slash));
  if (!base) return std::nullopt;
  Network network;
  network.base_ = *base;
  if (slash == std::string::npos) return network;

  const bool dotted = text.find(':') == std::string::npos;  // its bits count from IPv4's
  const int offset = dotted ? kMappedBits : 0;
  const std::optional<int> bits =
      base::ParseNumber(text.substr(slash + 1), 0, kAllBits - offset);
  if (!bits) return std::nullopt;
  network.bits_ = *bits + offset;
  return network;
}

bool Network::Contains(const Address& address) const {
  return base_.SharesPrefix(address, bits_);
}

bool Network::ContainsAllOfIPv4() const {
  return bits_ <= kMappedBits && Contains(*Address::Parse("0.0.0.0"));
}

Address ClientAddress(const Address& remote, const char* forwarded,
                      const std::vector<Network>& trusted_proxies) {
  const auto is_trusted = [&trusted_proxies](const Address& address) {
    return std::any_of(
        trusted_proxies.begin(), trusted_proxies.end(),
        [&address](const Network& network) { return network.Contains(address); });
  };
  if (forwarded == nullptr) return remote;
  const std::vector<std::string> hops = base::Split(forwarded, ",");
  Address client = remote;
  bool empty = true;
  for (auto hop = hops.rbegin(); hop != hops.rend() && is_trusted(client); ++hop) {
    if (hop->empty()) continue;
    empty = false;
    const std::optional<Address> reported = ParseItem(*hop);
    if (!reported) {
      LogUnusableList(client);
      break;
    }
    client = *reported;
  }
  if (empty && is_trusted(client)) LogUnusableList(client);
  return client;
}

}  // namespace VEXO::platform
