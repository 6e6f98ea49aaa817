// The event time of the frames: "YYYY/MM/DD hh:mm:ss", one width, no "-",
// moving forward through the log.
#pragma once

#include <cstdint>
#include <string_view>

namespace quern::qvloggen {

class Clock {
 public:
  Clock() { render(); }
  // False (and the clock unchanged) unless `text` is a valid time of that form.
  bool set(std::string_view text);
  void advance(uint32_t seconds);
  // 19 characters and a NUL.
  const char* text() const { return m_text; }
  // Seconds since 1970-01-01 00:00:00 of the current time.
  int64_t epochSeconds() const;

 private:
  void render();

  int m_year = 2026, m_month = 11, m_day = 22, m_hour = 10, m_minute = 0, m_second = 0;
  char m_text[20];
};

}  // namespace quern::qvloggen
