#include "support/LiveHost.h"

#include "support/Peers.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

namespace quillon::test {

std::string Expand(std::string text) {
  for (size_t open; (open = text.find('{')) != std::string::npos;) {
    const size_t dot = text.find('.', open), close = text.find('}', open);
    text.replace(
        open, close - open + 1,
        PeerValue(text.substr(open + 1, dot - open - 1), text.substr(dot + 1, close - dot - 1)));
  }
  return text;
}

std::vector<std::string> LoggedLines(const std::string& peer, const std::vector<std::string>& parts,
                                     size_t count) {
  std::vector<std::string> lines;
  for (int wait = 0; wait < 50 && lines.size() < count; ++wait) {
    if (wait) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    lines.clear();
    std::ifstream file(PeerValue(peer, "ACCESS_LOG"));
    for (std::string line; std::getline(file, line);) {
      if (std::all_of(parts.begin(), parts.end(), [&](const std::string& part) {
            return line.find(part) != std::string::npos;
          }))
        lines.push_back(line);
    }
  }
  return lines;
}

std::string LogField(const std::string& line, const std::string& name) {
  const size_t at = line.find(" " + name + "=");
  if (at == std::string::npos) return "";
  const size_t from = at + name.size() + 2;
  return line.substr(from, line.find(' ', from) - from);
}

::testing::AssertionResult LiveHost::Set(const std::string& settings, bool config) {
  std::istringstream list(Expand(settings));
  for (std::string item; std::getline(list, item, ';');) {
    if (item.empty()) continue;
    const size_t equals = item.find('=');
    const std::string name = item.substr(0, equals);
    std::string value;
    const bool property = !config && q.GetProperty(name, value) == 0;
    const int rc = property ? q.SetProperty(name, item.substr(equals + 1)) : q.Config(item);
    if (rc != 0)
      return ::testing::AssertionFailure() << item << ": " << rc << " " << q.ErrorDescription();
  }
  return ::testing::AssertionSuccess();
}

} // namespace quillon::test
