#include "world.h"

#include <set>
#include <stdexcept>

#include "storage/address.h"
#include "storage/crc.h"
#include "vocabulary.h"

namespace quern::qvloggen {

namespace {

constexpr uint32_t kMaxLevels = 15;
constexpr uint32_t kPeerCount = 2000;

std::string pick(Rng& rng, std::span<const std::string_view> words) {
  return std::string(words[rng.below(static_cast<uint32_t>(words.size()))]);
}

// Draws happen one statement at a time: the order in which operands of one
// expression are evaluated is unspecified, and the log must not depend on it.
std::string dotted(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return std::to_string(a) + "." + std::to_string(b) + "." + std::to_string(c) + "." + std::to_string(d);
}

std::string ipv4(Rng& rng) {
  const bool office = rng.percent(70);
  const uint32_t b = rng.below(office ? 4 : 16);
  const uint32_t c = rng.below(256);
  const uint32_t d = rng.between(1, 254);
  return office ? dotted(10, b, c, d) : dotted(192, 168, b, d);
}

std::string hex(uint32_t value) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  do {
    text.insert(text.begin(), digits[value & 15]);
    value >>= 4;
  } while (value != 0);
  return text;
}

std::string ipv6(Rng& rng, const char* prefix) {
  const uint32_t subnet = rng.below(0x10000);
  const uint32_t node = rng.between(1, 0xFFFF);
  return prefix + hex(subnet) + "::" + hex(node);
}

std::string server(Rng& rng) {
  if (!rng.percent(92)) return ipv6(rng, "2400:da00:");
  const uint32_t a = rng.between(1, 223);
  const uint32_t b = rng.below(256);
  const uint32_t c = rng.below(256);
  const uint32_t d = rng.between(1, 254);
  return dotted(a, b, c, d);
}

// Depths favour shallow trees; the first group always has all 15 levels so
// that every level field meets a value.
uint32_t drawDepth(Rng& rng, size_t index) {
  if (index == 0) return kMaxLevels;
  const uint32_t roll = rng.below(100);
  if (roll < 25) return 1;
  if (roll < 55) return 2;
  if (roll < 80) return 3;
  if (roll < 92) return 4;
  return rng.between(5, kMaxLevels);
}

}  // namespace

Address makeAddress(const std::string& text) {
  Address address;
  address.text = text;
  if (addressFromText(text.c_str(), address.bytes) != 0) throw std::logic_error("bad address text " + text);
  return address;
}

World::World(uint64_t seed, uint32_t groupCount, uint32_t userCount)
    : m_userRanks(userCount == 0 ? 1 : userCount), m_peerRanks(kPeerCount) {
  if (groupCount == 0 || userCount == 0) throw std::invalid_argument("groups and users must be at least 1");
  Rng rng(seed ^ 0x5EED0F5EEDULL);
  std::set<std::string> seen;
  while (m_groups.size() < groupCount) {
    const uint32_t depth = drawDepth(rng, m_groups.size());
    std::string path;
    for (uint32_t level = 0; level < depth; ++level) path += "/" + pick(rng, departments());
    if (!seen.insert(path).second) {
      path += "/" + std::to_string(m_groups.size());
      if (!seen.insert(path).second) continue;
    }
    m_groups.push_back(Group{path, crc64(path.data(), static_cast<uint32_t>(path.size()))});
  }
  seen.clear();
  for (uint32_t i = 0; i < userCount; ++i) {
    User user;
    user.name = pick(rng, familyNames());
    user.name += "." + pick(rng, givenNames());
    if (!seen.insert(user.name).second) user.name += std::to_string(i);
    seen.insert(user.name);
    user.crc = crc64(user.name.data(), static_cast<uint32_t>(user.name.size()));
    const uint32_t roll = rng.below(100);
    if (roll < 4) {
      user.group = -1;
      user.groupCrc = 0;
    } else if (roll < 5) {
      const std::string gone = "/Departed/" + user.name;
      user.group = -1;
      user.groupCrc = crc64(gone.data(), static_cast<uint32_t>(gone.size()));
    } else {
      user.group = static_cast<int>(rng.below(groupCount));
      user.groupCrc = m_groups[static_cast<size_t>(user.group)].crc;
    }
    user.host = makeAddress(rng.percent(90) ? ipv4(rng) : ipv6(rng, "2001:db8:"));
    m_users.push_back(std::move(user));
  }
  for (uint32_t i = 0; i < kPeerCount; ++i) m_peers.push_back(makeAddress(server(rng)));
}

}  // namespace quern::qvloggen
