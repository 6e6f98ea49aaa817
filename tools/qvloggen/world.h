// The population a log is about: groups (paths of 1 to 15 levels), users in
// them, the users' hosts (mostly IPv4, some IPv6) and the servers they talk
// to. Popularity of users and servers follows Zipf-like ranks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "random.h"

namespace quern::qvloggen {

struct Group {
  std::string path;  // "/level1/level2/..."
  uint64_t crc;
};

struct Address {
  std::string text;
  uint8_t bytes[16];
};

struct User {
  std::string name;
  uint64_t crc;
  // The group CRC written into frames: a listed group, 0 (none), or a
  // group that groups.ini does not know (removed from the appliance).
  uint64_t groupCrc;
  int group;  // index into World::groups, -1 when not listed
  Address host;
};

class World {
 public:
  World(uint64_t seed, uint32_t groupCount, uint32_t userCount);

  const std::vector<Group>& groups() const { return m_groups; }
  const std::vector<User>& users() const { return m_users; }
  // A user by popularity.
  const User& drawUser(Rng& rng) const { return m_users[m_userRanks.draw(rng)]; }
  // A server address by popularity.
  const Address& drawPeer(Rng& rng) const { return m_peers[m_peerRanks.draw(rng)]; }

 private:
  std::vector<Group> m_groups;
  std::vector<User> m_users;
  std::vector<Address> m_peers;
  Zipf m_userRanks;
  Zipf m_peerRanks;
};

// An address from its text, with the 16-byte form the appliance stores.
Address makeAddress(const std::string& text);

}  // namespace quern::qvloggen
