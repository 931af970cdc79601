// The proxy variables of the environment for one test: every one of them is cleared, the given
// ones are set, and all are cleared again at the end of the scope.
#pragma once

#include <cstdlib>
#include <string>

namespace quillon::test {

class ProxyEnvironment {
public:
  // `assignments` is "name=value;name=value".
  explicit ProxyEnvironment(const std::string& assignments) {
    Clear();
    size_t start = 0;
    while (start < assignments.size()) {
      size_t end = assignments.find(';', start);
      if (end == std::string::npos) end = assignments.size();
      const std::string item = assignments.substr(start, end - start);
      const size_t equals = item.find('=');
      setenv(item.substr(0, equals).c_str(), item.substr(equals + 1).c_str(), 1);
      start = end + 1;
    }
  }
  ~ProxyEnvironment() { Clear(); }
  ProxyEnvironment(const ProxyEnvironment&) = delete;
  ProxyEnvironment& operator=(const ProxyEnvironment&) = delete;

private:
  static void Clear() {
    for (const char* name : {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "all_proxy",
                             "ALL_PROXY", "no_proxy", "NO_PROXY"})
      unsetenv(name);
  }
};

} // namespace quillon::test
