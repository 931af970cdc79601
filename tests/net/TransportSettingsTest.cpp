// Every Config key of the socket, port and transfer links in one table, set and read back in
// order on one object: the parse of each form, the read-back form, the side effects between keys
// and the keys that cannot be set.
#include "PortHarness.h"

#include <gtest/gtest.h>

#include <string>

namespace quillon::test {
namespace {

// "Key=value" is set and then Key read; a bare "Key" is only read. `read` names another key to
// read instead.
struct KeyRow {
  const char* set;
  std::string expected;
  const char* read = nullptr;
  int rc = 0;
};

const std::string kLongUser = "FirewallUser=" + std::string(300, 'u');

// clang-format off
const KeyRow kKeys[] = {
    // TransferPort
    {"UseExtendedDST", "1"}, {"UseExtendedDST=no", "0"}, {"ConnectionTimeout=0x1A", "26"},
    {"TransferText=x", "", nullptr, -1},
    // PortClient
    {"MaxTransferRate=5000000000", "5000000000"}, {"SplitCRLF=YES", "True"}, {"SplitCRLF=off", "False"},
    {"MaxLineLength=70000", "65536"}, {"MaxLineLength=0", "1"}, {"SocketHandle=5", "4294967295", nullptr, -1},
    {"LocalHost=127.0.0.1", "127.0.0.1"}, {"LocalPort=0x50", "80"}, {"RecordLength=-3", "-3"},
    {"FirewallType=0x102", "2"}, {"FirewallPort", "1080"}, {"FirewallPort=3128", "2", "FirewallType"},
    {"FirewallPort", "3128"}, {"FirewallType=6", "80", "FirewallPort"}, {"FirewallType=9", "0", "FirewallPort"},
    {"FirewallHost=127.0.0.2", "127.0.0.2"}, {"FirewallHost=", ""}, {"FirewallHost=no such host", "", nullptr, 11001},
    {kLongUser.c_str(), std::string(255, 'u')}, {"FirewallPassword=p w", "p w"}, {"FirewallData=anything", ""},
    {"FirewallAutoDetect=False", "False"}, {"InBufferSize=0", "0"}, {"OutBufferSize=8192", "8192"},
    {"TcpNoDelay=1", "True"}, {"TCPKeepAlive=yes", "1"}, {"TCPKeepAlive=no", "0"},
    {"KeepAliveTime=1000", "1", "TCPKeepAlive"}, {"KeepAliveTime", "1000"}, {"KeepAliveInterval=250", "250"},
    {"MaxReceiveDataTime=15", "15"}, {"LingerTime=5", "5"}, {"Linger=false", "0"},
    {"GracefullyShutDownSSL=TRUE", "True"}, {"BindIPv6Address=0", "False"},
    // SocketCore
    {"SelectWaitMillis=-5", "-5"}, {"AbsoluteTimeout=yes", "True"}, {"TimeoutInMilliseconds=True", "1"},
    {"WinsockStatus=7", "0"}, {"IgnoreExternalEvents=1", "True"}, {"IgnoreOtherWindowEvents=1", "True"},
    {"WinsockVersion=1.1", "2.2"}, {"QOSTrafficType=Voice", "4"}, {"QOSTrafficType=excellenteffort", "2"},
    {"QOSTrafficType=0x10", "16"}, {"QOSDSCPValue=46", "46"}, {"UseWindowsMessages=no", "0"},
    {"SSLProvider", "Microsoft Unified Security Protocol Provider"}, {"SSLProvider=other", "other"},
    {"SSLCipherStrength=256", "256"}, {"SSLAlgorithmList=a,b", "a,b"}, {"UseDefaultCredentials=yes", "True"},
    {"ReuseSSLSession=1", "True"}, {"ExtendedProtection=TRUE", "True"},
    {"SSLSecurityFlags=0x80000000", "2147483648"}, {"SSLIncludeCertChain=yes", "True"},
    {"SSLEnabledProtocols", "4032"}, {"SSLEnabledProtocols=0x0C00", "3072"}, {"SSLEnableRenegotiation=no", "False"},
    {"UseIPv6=yes", "True"}, {"KerberosSPN=HTTP/host", "HTTP/host"}, {"UseSystemSSPI=0", "False"},
    {"RecordToFile=/tmp/session.exp", "/tmp/session.exp"}, {"NoSuchKey=1", "", nullptr, -1},
};
// clang-format on

TEST(TransportSettingsTest, EveryKeySetsAndReadsBackInItsForm) {
  TestPort port(true);
  for (const KeyRow& row : kKeys) {
    SCOPED_TRACE(row.set);
    const std::string text = row.set;
    const char* result = nullptr;
    if (text.find('=') != std::string::npos) {
      EXPECT_EQ(port.ConfigText(row.set, &result), row.rc) << port.LastErrorText();
      if (row.rc == -1) {
        EXPECT_STREQ(port.LastErrorText(), "Unknown config setting.");
      }
    }
    port.ConfigText(row.read ? row.read : text.substr(0, text.find('=')).c_str(), &result);
    EXPECT_EQ(std::string(result), row.expected);
  }
}

} // namespace
} // namespace quillon::test
