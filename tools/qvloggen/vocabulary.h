// Word lists the generator draws from: English and Chinese (UTF-8) words,
// names, departments, domains, and the services with their applications.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace quern::qvloggen {

// What a service's frames look like: frame type and payload items.
enum class Traffic : uint8_t { Web, Mail, Chat, Search, File };

struct Service {
  std::string_view name;
  Traffic traffic;
  std::span<const std::string_view> apps;
};

// The texts of the four resource ids that queries expand (resource.ini).
inline constexpr std::string_view kResMailRecvSend = "邮件收发";
inline constexpr std::string_view kResHttpApp = "HTTP应用";
inline constexpr std::string_view kResWebMail = "网页邮件";
inline constexpr std::string_view kResMail = "邮件";

std::span<const std::string_view> englishWords();
std::span<const std::string_view> chineseWords();
std::span<const std::string_view> givenNames();
std::span<const std::string_view> familyNames();
std::span<const std::string_view> departments();
std::span<const std::string_view> domains();
std::span<const std::string_view> fileExtensions();
// In order of popularity.
std::span<const Service> services();
// Every application name of the services, each once.
std::vector<std::string_view> appNames();

// The CRC-32 under which a service or app label stands in frames and in the
// index.
uint32_t labelCrc(std::string_view label);

}  // namespace quern::qvloggen
