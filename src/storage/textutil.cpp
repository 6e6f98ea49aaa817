#include "storage/textutil.h"

namespace quern {

void split(std::vector<std::string>& out, const char* text, char delimiter) {
  out.clear();
  std::string token;
  for (const char* p = text; *p != '\0'; ++p) {
    if (*p != delimiter) {
      token += *p;
    } else if (!token.empty()) {
      out.push_back(std::move(token));
      token.clear();
    }
  }
  if (!token.empty()) out.push_back(std::move(token));
}

}  // namespace quern
