// The socket link's Config keys that are held here for other links (the secure channel, the
// authentication fronts, QoS) or only read back, and the script file name of RecordToFile.
// Each kind of value has one table: flags read back as True/False, numbers as decimal text.
#include "net/SocketCore.h"

#include "frame/Errors.h"
#include "frame/Text.h"

namespace quillon {

namespace {
struct FlagKey {
  const char* name;
  bool SocketCore::*field;
};
struct NumberKey {
  const char* name;
  int32_t SocketCore::*field;
};
struct TextKey {
  const char* name;
  BufStr SocketCore::*field;
};

constexpr FlagKey kFlagKeys[] = {
    {"UseDefaultCredentials", &SocketCore::useDefaultCredentials},
    {"ReuseSSLSession", &SocketCore::reuseSSLSession},
    {"ExtendedProtection", &SocketCore::extendedProtection},
    {"SSLIncludeCertChain", &SocketCore::sslIncludeCertChain},
    {"SSLEnableRenegotiation", &SocketCore::sslEnableRenegotiation},
    {"UseSystemSSPI", &SocketCore::useSystemSSPI},
};
constexpr NumberKey kNumberKeys[] = {
    {"QOSDSCPValue", &SocketCore::qosDscpValue},
    {"SSLCipherStrength", &SocketCore::sslCipherStrength},
    {"SSLSecurityFlags", &SocketCore::sslSecurityFlags},
    {"SSLEnabledProtocols", &SocketCore::sslEnabledProtocols},
};
constexpr TextKey kTextKeys[] = {
    {"SSLProvider", &SocketCore::sslProvider},
    {"SSLAlgorithmList", &SocketCore::sslAlgorithmList},
    {"KerberosSPN", &SocketCore::kerberosSPN},
    {"RecordToFile", &SocketCore::recordToFile},
};
// The traffic types of QOSTrafficType, by value.
constexpr const char* kTrafficTypes[] = {"BestEffort", "Background", "ExcellentEffort",
                                         "AudioVideo", "Voice",      "Control"};
} // namespace

int SocketCore::StoredConfig(ConfigRequest& request, const char** result, bool& handled) {
  const std::string_view name = request.name.View();
  const bool get = request.isGet;
  handled = true;
  for (const FlagKey& key : kFlagKeys) {
    if (!EqualsNoCase(name, key.name)) continue;
    if (get) return ReturnFlag(result, this->*key.field);
    this->*key.field = IsTrueText(request.value.Data());
    return errNone;
  }
  for (const NumberKey& key : kNumberKeys) {
    if (!EqualsNoCase(name, key.name)) continue;
    if (get) return ReturnSigned(result, this->*key.field);
    this->*key.field = static_cast<int32_t>(ParseConfigNumber(request.value.Data()));
    return errNone;
  }
  for (const TextKey& key : kTextKeys) {
    if (!EqualsNoCase(name, key.name)) continue;
    if (get) return ReturnText(result, this->*key.field);
    return (this->*key.field).Assign(request.value);
  }
  if (EqualsNoCase(name, "QOSTrafficType")) {
    if (get) return ReturnSigned(result, qosTrafficType);
    for (int value = 0; value < 6; ++value) {
      if (EqualsNoCase(request.value.View(), kTrafficTypes[value])) {
        qosTrafficType = value;
        return errNone;
      }
    }
    qosTrafficType = static_cast<int32_t>(ParseConfigNumber(request.value.Data()));
    return errNone;
  }
  handled = false;
  return errNone;
}

} // namespace quillon
