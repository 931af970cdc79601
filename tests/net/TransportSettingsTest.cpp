// Every Config key of the socket, port and transfer links in one table, set and read back in
// order on one object: the parse of each form, the read-back form, the side effects between keys
// and the keys that cannot be set.
#include "PortHarness.h"

#include <gtest/gtest.h>

#include <string>

namespace quillon::test {
namespace {

struct KeyRow {
  const char* set; // "Key=value", or null for a read only
  int rc;
  const char* read; // the key read after it
  std::string expected;
};

const std::string kLongUser = "FirewallUser=" + std::string(300, 'u');

const KeyRow kKeys[] = {
    // TransferPort
    {nullptr, 0, "UseExtendedDST", "1"},
    {"UseExtendedDST=no", 0, "UseExtendedDST", "0"},
    {"ConnectionTimeout=0x1A", 0, "ConnectionTimeout", "26"},
    {"TransferText=x", -1, "TransferText", ""},
    // PortClient
    {"MaxTransferRate=5000000000", 0, "MaxTransferRate", "5000000000"},
    {"SplitCRLF=YES", 0, "SplitCRLF", "True"},
    {"SplitCRLF=off", 0, "SplitCRLF", "False"},
    {"MaxLineLength=70000", 0, "MaxLineLength", "65536"},
    {"SocketHandle=5", -1, "SocketHandle", "4294967295"},
    {"LocalHost=127.0.0.1", 0, "LocalHost", "127.0.0.1"},
    {"LocalPort=0x50", 0, "LocalPort", "80"},
    {"RecordLength=-3", 0, "RecordLength", "-3"},
    {"FirewallType=0x102", 0, "FirewallType", "2"},
    {nullptr, 0, "FirewallPort", "1080"},
    {"FirewallPort=3128", 0, "FirewallType", "2"},
    {nullptr, 0, "FirewallPort", "3128"},
    {"FirewallType=6", 0, "FirewallPort", "80"},
    {"FirewallType=9", 0, "FirewallPort", "0"},
    {"FirewallHost=127.0.0.2", 0, "FirewallHost", "127.0.0.2"},
    {"FirewallHost=", 0, "FirewallHost", ""},
    {"FirewallHost=no such host", 11001, "FirewallHost", ""},
    {kLongUser.c_str(), 0, "FirewallUser", std::string(255, 'u')},
    {"FirewallPassword=p w", 0, "FirewallPassword", "p w"},
    {"FirewallData=anything", 0, "FirewallData", ""},
    {"FirewallAutoDetect=False", 0, "FirewallAutoDetect", "False"},
    {"InBufferSize=0", 0, "InBufferSize", "0"},
    {"OutBufferSize=8192", 0, "OutBufferSize", "8192"},
    {"TcpNoDelay=1", 0, "TcpNoDelay", "True"},
    {"TCPKeepAlive=yes", 0, "TCPKeepAlive", "1"},
    {"TCPKeepAlive=no", 0, "TCPKeepAlive", "0"},
    {"KeepAliveTime=1000", 0, "TCPKeepAlive", "1"},
    {nullptr, 0, "KeepAliveTime", "1000"},
    {"KeepAliveInterval=250", 0, "KeepAliveInterval", "250"},
    {"MaxReceiveDataTime=15", 0, "MaxReceiveDataTime", "15"},
    {"LingerTime=5", 0, "LingerTime", "5"},
    {"Linger=false", 0, "Linger", "0"},
    {"GracefullyShutDownSSL=TRUE", 0, "GracefullyShutDownSSL", "True"},
    {"BindIPv6Address=0", 0, "BindIPv6Address", "False"},
    // SocketCore
    {"SelectWaitMillis=-5", 0, "SelectWaitMillis", "-5"},
    {"AbsoluteTimeout=yes", 0, "AbsoluteTimeout", "True"},
    {"TimeoutInMilliseconds=True", 0, "TimeoutInMilliseconds", "1"},
    {"WinsockStatus=7", 0, "WinsockStatus", "0"},
    {"IgnoreExternalEvents=1", 0, "IgnoreExternalEvents", "True"},
    {"IgnoreOtherWindowEvents=1", 0, "IgnoreOtherWindowEvents", "True"},
    {"WinsockVersion=1.1", 0, "WinsockVersion", "2.2"},
    {"QOSTrafficType=Voice", 0, "QOSTrafficType", "4"},
    {"QOSTrafficType=excellenteffort", 0, "QOSTrafficType", "2"},
    {"QOSTrafficType=0x10", 0, "QOSTrafficType", "16"},
    {"QOSDSCPValue=46", 0, "QOSDSCPValue", "46"},
    {"UseWindowsMessages=no", 0, "UseWindowsMessages", "0"},
    {nullptr, 0, "SSLProvider", "Microsoft Unified Security Protocol Provider"},
    {"SSLProvider=other", 0, "SSLProvider", "other"},
    {"SSLCipherStrength=256", 0, "SSLCipherStrength", "256"},
    {"SSLAlgorithmList=a,b", 0, "SSLAlgorithmList", "a,b"},
    {"UseDefaultCredentials=yes", 0, "UseDefaultCredentials", "True"},
    {"ReuseSSLSession=1", 0, "ReuseSSLSession", "True"},
    {"ExtendedProtection=TRUE", 0, "ExtendedProtection", "True"},
    {"SSLSecurityFlags=0x80000000", 0, "SSLSecurityFlags", "2147483648"},
    {"SSLIncludeCertChain=yes", 0, "SSLIncludeCertChain", "True"},
    {nullptr, 0, "SSLEnabledProtocols", "4032"},
    {"SSLEnabledProtocols=0x0C00", 0, "SSLEnabledProtocols", "3072"},
    {"SSLEnableRenegotiation=no", 0, "SSLEnableRenegotiation", "False"},
    {"UseIPv6=yes", 0, "UseIPv6", "True"},
    {"KerberosSPN=HTTP/host", 0, "KerberosSPN", "HTTP/host"},
    {"UseSystemSSPI=0", 0, "UseSystemSSPI", "False"},
    {"RecordToFile=/tmp/session.exp", 0, "RecordToFile", "/tmp/session.exp"},
    {"NoSuchKey=1", -1, "NoSuchKey", ""},
};

TEST(TransportSettingsTest, EveryKeySetsAndReadsBackInItsForm) {
  TestPort port(true);
  for (const KeyRow& row : kKeys) {
    SCOPED_TRACE(row.set ? row.set : row.read);
    const char* result = nullptr;
    if (row.set) {
      EXPECT_EQ(port.ConfigText(row.set, &result), row.rc) << port.LastErrorText();
      if (row.rc == -1) {
        EXPECT_STREQ(port.LastErrorText(), "Unknown config setting.");
      }
    }
    port.ConfigText(row.read, &result);
    EXPECT_EQ(std::string(result), row.expected);
  }
}

} // namespace
} // namespace quillon::test
