#include "framemaker.h"

#include <array>
#include <cstring>
#include <map>

#include "intake/qvlogformat.h"
#include "rowrender/payload.h"

namespace quern::qvloggen {

namespace {

// Service and app names come from a few fixed lists: each CRC is computed once.
uint32_t crc32(std::string_view text) {
  static std::map<const char*, uint32_t> known;
  const auto [entry, added] = known.try_emplace(text.data(), 0);
  if (added) entry->second = labelCrc(text);
  return entry->second;
}

uint32_t frameType(Traffic traffic) {
  switch (traffic) {
    case Traffic::Web: return 2;
    case Traffic::Chat: return 7;
    case Traffic::Search: return 8;
    case Traffic::Mail: return 9;
    case Traffic::File: return 10;
  }
  return 2;
}

template <typename List>
const auto& pick(Rng& rng, const List& list) {
  return list[rng.below(static_cast<uint32_t>(list.size()))];
}

}  // namespace

FrameMaker::FrameMaker(const World& world, Rng& rng, const Clock& start)
    : m_world(world),
      m_rng(rng),
      m_clock(start),
      m_serviceRanks(static_cast<uint32_t>(services().size())),
      m_domainRanks(static_cast<uint32_t>(domains().size())) {}

FrameKind FrameMaker::drawKind() {
  const uint32_t roll = m_rng.below(1000);
  if (roll < 20) return FrameKind::Short;
  if (roll < 30) return FrameKind::Unknown;
  if (roll < 60) return FrameKind::Hidden;
  return FrameKind::Ordinary;
}

void FrameMaker::addItem(TruthFrame& truth, std::string key, std::string value) {
  truth.items.emplace_back(std::move(key), std::move(value));
}

std::string FrameMaker::sentence(uint32_t minWords, uint32_t maxWords) {
  const bool chinese = m_rng.percent(35);
  const uint32_t count = m_rng.between(minWords, maxWords);
  std::string text;
  for (uint32_t i = 0; i < count; ++i) {
    if (chinese) {
      if (i != 0 && m_rng.percent(15)) text += "，";
      text += pick(m_rng, chineseWords());
    } else {
      if (i != 0) text += ' ';
      text += pick(m_rng, englishWords());
    }
  }
  return text;
}

std::string FrameMaker::fileName() {
  std::string name(pick(m_rng, englishWords()));
  name += '_';
  name += pick(m_rng, m_rng.percent(40) ? chineseWords() : englishWords());
  name += '.';
  name += pick(m_rng, fileExtensions());
  return name;
}

void FrameMaker::drawHead(TruthFrame& truth, const Service& service, uint32_t privateMark) {
  const User& user = m_world.drawUser(m_rng);
  const Address& peer = m_world.drawPeer(m_rng);
  const std::string_view app = pick(m_rng, service.apps);
  m_user = &user;
  m_peer = &peer;
  m_clock.advance(m_rng.below(3));
  truth.eventTag = static_cast<uint32_t>(m_rng.next());
  truth.user = user.name;
  truth.userCrc = user.crc;
  truth.groupPath = user.group < 0 ? std::string() : m_world.groups()[static_cast<size_t>(user.group)].path;
  truth.groupCrc = user.groupCrc;
  truth.host = user.host.text;
  truth.peer = peer.text;
  truth.serv = service.name;
  truth.servCrc = crc32(service.name);
  truth.app = app;
  truth.appCrc = crc32(app);
  truth.privateMark = privateMark;
  truth.time = m_clock.text();
}

void FrameMaker::writeHead(uint8_t* body, const TruthFrame& truth) const {
  storeLE32(body, m_sequence);
  storeLE32(body + body::kEventTag, truth.eventTag);
  storeLE64(body + body::kUserCrc, truth.userCrc);
  storeLE64(body + body::kGroupCrc, truth.groupCrc);
  std::memcpy(body + body::kHostAddress, m_user->host.bytes, 16);
  std::memcpy(body + body::kPeerAddress, m_peer->bytes, 16);
  storeLE32(body + body::kServCrc, truth.servCrc);
  storeLE32(body + body::kAppCrc, truth.appCrc);
  storeLE32(body + body::kPrivateMark, truth.privateMark);
  std::memcpy(body + body::kTimeText, truth.time.c_str(), truth.time.size() + 1);
}

void FrameMaker::make(FrameKind kind, std::vector<uint8_t>& raw, TruthFrame& truth) {
  ++m_sequence;
  truth.items.clear();
  truth.snap.clear();
  const Service& service = services()[m_serviceRanks.draw(m_rng)];
  uint32_t type = frameType(service.traffic);
  uint32_t privateMark = m_rng.percent(85) ? 0 : m_rng.between(1, 3);
  if (kind == FrameKind::Hidden) {
    type = body::kHiddenType;
    privateMark = body::kHiddenMark;
  } else if (kind == FrameKind::Unknown) {
    constexpr std::array<uint32_t, 4> kUnknownTypes = {3, 4, 6, 11};
    type = pick(m_rng, kUnknownTypes);
  }
  truth.type = type;
  drawHead(truth, service, privateMark);

  const FrameLayout* layout = frameLayout(type);
  if (kind == FrameKind::Ordinary || kind == FrameKind::Hidden) {
    switch (kind == FrameKind::Hidden ? Traffic::Search : service.traffic) {
      case Traffic::Web: webItems(truth); break;
      case Traffic::Mail: mailItems(truth, truth.user); break;
      case Traffic::Chat: chatItems(truth, truth.user); break;
      case Traffic::Search: searchItems(truth); break;
      case Traffic::File: fileItems(truth); break;
    }
  }
  uint32_t payloadSize = 0;
  for (const auto& [key, value] : truth.items) payloadSize += rowrender::itemSize(key, value);
  uint32_t frameSize = body::kHeadSize;
  if (kind == FrameKind::Unknown) {
    frameSize += m_rng.below(300);
  } else if (kind != FrameKind::Short) {
    frameSize = layout->fixedEnd + payloadSize;
  }

  const size_t start = raw.size();
  raw.resize(start + kFrameHeaderSize + frameSize);
  uint8_t* head = raw.data() + start;
  encodeFrameHeader(FrameHeader{type, frameSize, m_sequence}, head);
  uint8_t* body = head + kFrameHeaderSize;  // zeroed by the resize
  writeHead(body, truth);
  truth.frameSize = frameSize;
  if (kind == FrameKind::Short || kind == FrameKind::Unknown) {
    truth.items.clear();
    truth.snap.clear();
    return;
  }
  if (layout->snapText != 0) {
    // The field holds 256 bytes with the NUL; cut on a character boundary.
    size_t length = std::min<size_t>(truth.snap.size(), body::kSnapTextSize - 1);
    while (length > 0 && length < truth.snap.size() && (truth.snap[length] & 0xC0) == 0x80) --length;
    truth.snap.resize(length);
    std::memcpy(body + layout->snapText, truth.snap.data(), length);
  } else {
    truth.snap.clear();
  }
  storeLE32(body + layout->payloadSize, payloadSize);
  uint8_t* out = body + layout->payload;
  for (const auto& [key, value] : truth.items) out = rowrender::putItem(out, key, value);
}

void FrameMaker::webItems(TruthFrame& truth) {
  const std::string domain(domains()[m_domainRanks.draw(m_rng)]);
  std::string path = "/";
  path += pick(m_rng, englishWords());
  path += "/";
  path += pick(m_rng, englishWords());
  path += ".html";
  const bool query = m_rng.percent(40);
  std::string data;
  if (query) {
    data = "id=" + std::to_string(m_rng.below(100000));
    data += "&page=" + std::to_string(m_rng.between(1, 20));
  }
  std::string url = (m_rng.percent(70) ? "https://" : "http://") + domain + path;
  if (query) url += "?" + data;
  const std::string title = sentence(2, 9);
  addItem(truth, "url", url);
  if (m_rng.percent(80)) addItem(truth, "host", domain);
  if (m_rng.percent(50)) addItem(truth, "DNS", domain);
  if (query) addItem(truth, "urldata", data);
  if (m_rng.percent(10)) addItem(truth, "urldata", "comment=" + sentence(3, 12));
  addItem(truth, "title", title);
  addItem(truth, "urltype", std::to_string(m_rng.between(1, 30)));
  addItem(truth, "apptype", "web");
  addItem(truth, "appname", truth.app);
  truth.snap = title;
  // Page titles sometimes carry layout characters the row must not keep.
  if (m_rng.percent(3)) truth.snap += "\tpart\n2";
}

void FrameMaker::mailItems(TruthFrame& truth, const std::string& from) {
  const std::string subject = sentence(2, 10);
  addItem(truth, "from", from + "@example.cn");
  std::string to(pick(m_rng, m_world.users()).name);
  to += "@";
  to += domains()[m_domainRanks.draw(m_rng)];
  addItem(truth, "to", to);
  addItem(truth, "subject", subject);
  const bool longMail = m_rng.percent(5);
  addItem(truth, "content", longMail ? sentence(200, 1500) : sentence(5, 80));
  const uint32_t attachments = m_rng.percent(30) ? m_rng.between(1, 2) : 0;
  for (uint32_t i = 0; i < attachments; ++i) {
    const std::string suffix = i == 0 ? "" : std::to_string(i + 1);
    const std::string name = fileName();
    addItem(truth, "attachname" + suffix, name);
    addItem(truth, "attachpath" + suffix, "/data/audit/attach/" + std::to_string(m_sequence) + "/" + name);
    addItem(truth, "filesize", std::to_string(m_rng.between(100, 9000000)));
  }
  addItem(truth, "count", std::to_string(attachments));
  truth.snap = subject;
}

void FrameMaker::chatItems(TruthFrame& truth, const std::string& from) {
  addItem(truth, "chat_dir", m_rng.percent(50) ? "send" : "recv");
  addItem(truth, "chataction", m_rng.percent(90) ? "message" : "file");
  addItem(truth, "from", from);
  addItem(truth, "to", pick(m_rng, m_world.users()).name);
  addItem(truth, "content", sentence(1, 30));
}

void FrameMaker::searchItems(TruthFrame& truth) {
  const std::string domain(domains()[m_domainRanks.draw(m_rng)]);
  const std::string keyword = sentence(1, 4);
  addItem(truth, "url", "https://" + domain + "/s?wd=" + keyword);
  addItem(truth, "host", domain);
  if (m_rng.percent(30)) addItem(truth, "DNS", domain);
  addItem(truth, "keyword", keyword);
  addItem(truth, "urldata", "wd=" + keyword);
  truth.snap = keyword;
}

void FrameMaker::fileItems(TruthFrame& truth) {
  const std::string name = fileName();
  addItem(truth, "filename", name);
  addItem(truth, "filetype", name.substr(name.rfind('.') + 1));
  addItem(truth, "filesize", std::to_string(m_rng.between(1, 50000000)));
  addItem(truth, "filecount", "1");
  addItem(truth, "url", "ftp://" + m_world.drawPeer(m_rng).text + "/upload/" + name);
  addItem(truth, "server_attachpath", "/data/audit/files/" + name);
  truth.snap = name;
}

}  // namespace quern::qvloggen
