#include "frame/ComponentCore.h"

#include "frame/Errors.h"
#include "support/Corpus.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <unistd.h>
#include <utility>

namespace quillon {
namespace {

// Each row: the text, and then name|value|indexText|index and whether it reads or writes.
TEST(ConfigRequest, ParsesNamesIndexesAndValues) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "|||-1 get"},
      {"CodePage", "CodePage|||-1 get"},
      {"Key=", "Key|||-1 set"},
      {"Cookie[2]", "Cookie||2|2 get"},
      {"Cookie(2)=x", "Cookie|x|2|2 set"},
      {"A[ab]", "A||ab|0 get"},
      {"Url=http://h/?a=1&b=2", "Url|http://h/?a=1&b=2||-1 set"},
      {"K=  \" keep  inner \"  ", "K| keep  inner ||-1 set"},
      {"K=\"a\"b\"", "K|a\"b||-1 set"},
      {"K = v", "K |v||-1 set"},
  };
  for (const auto& [text, parsed] : rows) {
    ConfigRequest request;
    ASSERT_EQ(request.Parse(text), 0);
    EXPECT_EQ(std::string(request.name.View()) + "|" + std::string(request.value.View()) + "|" +
                  std::string(request.indexText.View()) + "|" + std::to_string(request.index) +
                  (request.isGet ? " get" : " set"),
              parsed)
        << text;
  }
  ConfigRequest absent;
  absent.Parse(nullptr);
  EXPECT_FALSE(absent.isGet);
}

TEST(ComponentCore, DescribeErrorFillsOnlyAnEmptyText) {
  const std::tuple<int, bool, const char*> rows[] = {
      // code, lastError cleared first, the text after
      {0, false, ""},
      {10061, false, "[10061] Connection refused"},
      {10054, false, "[10061] Connection refused"}, // an existing text stays
      {301, false, "Interrupted."},                 // 301 and 200 always replace
      {200, false, "Out of memory."},
      {12345, true, "[12345] (no description available)"},
      {10066, true, "[10066] Directory not empt"}, // the table's own wording stands
  };
  ComponentCore core;
  for (const auto& [code, clear, text] : rows) {
    if (clear) core.ClearLastError();
    EXPECT_EQ(core.DescribeError(code), code);
    EXPECT_STREQ(core.LastErrorText(), text) << code;
  }
}

TEST(ComponentCore, TrafficLogWritesOneRecordPerCall) {
  const std::string path = "/tmp/quillon-log-" + std::to_string(::getpid());
  ::unlink(path.c_str());
  ComponentCore core;
  EXPECT_EQ(core.LogTraffic("SEND", "x", 1), 0); // no file set: nothing
  ASSERT_EQ(core.ConfigText(("LogDebugFile=" + path).c_str(), nullptr), 0);
  ASSERT_EQ(core.LogTraffic("SEND", "GET / HTTP/1.1", 14), 0);
  ASSERT_EQ(core.ConfigText("LogDebugOption=1", nullptr), 0); // hex dump
  ASSERT_EQ(core.LogTraffic("RECEIVE", "\x01\xFF", 2), 0);

  const std::string log = test::FileText(path);
  ::unlink(path.c_str());
  EXPECT_NE(log.find("------SEND------(14 bytes)\r\nGET / HTTP/1.1\r\n"), std::string::npos) << log;
  EXPECT_NE(log.find("------RECEIVE------(2 bytes)\r\n01 FF \r\n"), std::string::npos) << log;
  EXPECT_EQ(log[0], '['); // "[id][yyyy/mm/dd hh:mm:ss] " before the label

  ASSERT_EQ(core.ConfigText("LogDebugFile=/nonexistent-dir/x.log", nullptr), 0);
  EXPECT_EQ(core.LogTraffic("SEND", "x", 1), errFileOpenWrite);
}

} // namespace
} // namespace quillon
