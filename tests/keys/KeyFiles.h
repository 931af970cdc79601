// The key files of the key tests, made once per machine by make-keys.sh with openssl,
// ssh-keygen and puttygen, and the stores the tests choose certificates from.
#pragma once

#include "keys/CertificateFront.h"
#include "support/Corpus.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace quillon::test {

inline const std::string& KeyDir() {
  static const std::string dir = [] {
    const std::string path = "/tmp/quillon-test-keys-v3-" + std::to_string(getuid());
    const std::string command =
        std::string(QUILLON_SOURCE_DIR) + "/tests/keys/make-keys.sh " + path + " >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) ADD_FAILURE() << "make-keys.sh failed";
    return path;
  }();
  return dir;
}

inline std::string KeyPath(const std::string& name) {
  return KeyDir() + "/" + name;
}

inline std::string KeyFile(const std::string& name) {
  return FileText(KeyPath(name));
}

// A certificate front on a core of its own, which holds its lastError.
struct CoreOwner {
  ComponentCore core;
};
struct OwnFront : CoreOwner, CertificateFront {
  OwnFront() : CertificateFront(core) {}
};

// Sets the store of `front` and chooses a certificate in it; the code of the choice.
inline int Choose(CertificateFront& front, CertStoreTypes type, std::string_view store,
                  std::string_view password = "", std::string_view subject = "*") {
  front.SetCertStoreType(type);
  front.SetCertStorePassword(password);
  front.SetCertStore(store);
  return front.SetCertSubject(subject);
}

// A user store root with "My" (a client with its key, another client, an EC client) and an
// empty "Trust" folder.
class FolderStore : public ::testing::Test {
protected:
  void SetUp() override {
    root = std::filesystem::temp_directory_path() / ("quillon-stores-" + std::to_string(getpid()));
    std::filesystem::create_directories(root / "My");
    std::filesystem::create_directories(root / "Trust");
    std::filesystem::copy_file(KeyPath("rsa.crt"), root / "My" / "a-client.crt");
    std::filesystem::copy_file(KeyPath("rsa.p8"), root / "My" / "a-client.key");
    std::filesystem::copy_file(KeyPath("other.crt"), root / "My" / "b-other.crt");
    std::filesystem::copy_file(KeyPath("ec.crt"), root / "My" / "c-ec.pem");
    setenv("QUILLON_CERTSTORE_USER", root.c_str(), 1);
  }
  void TearDown() override {
    unsetenv("QUILLON_CERTSTORE_USER");
    std::filesystem::remove_all(root);
  }
  std::filesystem::path root;
};

} // namespace quillon::test
