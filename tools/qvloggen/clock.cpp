#include "clock.h"

namespace quern::qvloggen {

namespace {

bool leap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int daysIn(int year, int month) {
  static const int days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && leap(year) ? 29 : days[month - 1];
}

bool number(std::string_view text, size_t at, size_t width, int& value) {
  value = 0;
  for (size_t i = at; i < at + width; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    value = value * 10 + (text[i] - '0');
  }
  return true;
}

}  // namespace

bool Clock::set(std::string_view text) {
  if (text.size() != 19 || text[4] != '/' || text[7] != '/' || text[10] != ' ' || text[13] != ':' ||
      text[16] != ':') {
    return false;
  }
  int year, month, day, hour, minute, second;
  if (!number(text, 0, 4, year) || !number(text, 5, 2, month) || !number(text, 8, 2, day) ||
      !number(text, 11, 2, hour) || !number(text, 14, 2, minute) || !number(text, 17, 2, second)) {
    return false;
  }
  if (year < 1970 || month < 1 || month > 12 || day < 1 || day > daysIn(year, month) || hour > 23 || minute > 59 ||
      second > 59) {
    return false;
  }
  m_year = year, m_month = month, m_day = day, m_hour = hour, m_minute = minute, m_second = second;
  render();
  return true;
}

void Clock::advance(uint32_t seconds) {
  // The year stays at four digits: the clock stops at the end of 9999.
  uint32_t total = static_cast<uint32_t>(m_second) + seconds;
  m_second = static_cast<int>(total % 60);
  total = static_cast<uint32_t>(m_minute) + total / 60;
  m_minute = static_cast<int>(total % 60);
  total = static_cast<uint32_t>(m_hour) + total / 60;
  m_hour = static_cast<int>(total % 24);
  for (uint32_t days = total / 24; days != 0; --days) {
    if (m_day < daysIn(m_year, m_month)) {
      ++m_day;
    } else if (m_month < 12) {
      m_day = 1, ++m_month;
    } else if (m_year < 9999) {
      m_day = 1, m_month = 1, ++m_year;
    } else {
      m_hour = 23, m_minute = 59, m_second = 59;
      break;
    }
  }
  render();
}

int64_t Clock::epochSeconds() const {
  int64_t days = 0;
  for (int year = 1970; year < m_year; ++year) days += leap(year) ? 366 : 365;
  for (int month = 1; month < m_month; ++month) days += daysIn(m_year, month);
  days += m_day - 1;
  return ((days * 24 + m_hour) * 60 + m_minute) * 60 + m_second;
}

void Clock::render() {
  const int fields[6] = {m_year, m_month, m_day, m_hour, m_minute, m_second};
  const int widths[6] = {4, 2, 2, 2, 2, 2};
  const char separators[6] = {'/', '/', ' ', ':', ':', '\0'};
  char* out = m_text;
  for (int i = 0; i < 6; ++i) {
    int value = fields[i];
    for (int digit = widths[i] - 1; digit >= 0; --digit, value /= 10) out[digit] = static_cast<char>('0' + value % 10);
    out += widths[i];
    *out++ = separators[i];
  }
}

}  // namespace quern::qvloggen
