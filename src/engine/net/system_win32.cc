#include <openssl/err.h>
#include <openssl/x509.h>

#include "engine/net/system.h"
// After OpenSSL: wincrypt.h takes some of its names for macros.
#include <winsock2.h>
// After winsock2.h, on which they depend.
#include <windows.h>
// After windows.h.
#include <wincrypt.h>

#include <cstring>
#include <vector>

namespace vespro::engine::platform {
namespace {

// Whether the system trusts the certificate for servers, and not for signed programs only, say.
bool IsForServers(PCCERT_CONTEXT certificate) {
  DWORD size = 0;
  if (!CertGetEnhancedKeyUsage(certificate, 0, nullptr, &size)) {
    return GetLastError() == static_cast<DWORD>(CRYPT_E_NOT_FOUND);  // no limits
  }
  // What it points to is after the structure.
  std::vector<CERT_ENHKEY_USAGE> memory(size / sizeof(CERT_ENHKEY_USAGE) + 1);
  CERT_ENHKEY_USAGE* usage = memory.data();
  if (!CertGetEnhancedKeyUsage(certificate, 0, usage, &size)) return false;
  if (usage->cUsageIdentifier == 0) {
    return GetLastError() == static_cast<DWORD>(CRYPT_E_NOT_FOUND);
  }
  for (DWORD i = 0; i < usage->cUsageIdentifier; ++i) {
    if (std::strcmp(usage->rgpszUsageIdentifier[i], szOID_PKIX_KP_SERVER_AUTH) == 0) return true;
  }
  return false;
}

}  // namespace

// The libraries look for their configuration where they were built: on a user's machine that is a
// folder which anybody may make.
void PrepareTls() { OPENSSL_init_ssl(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr); }

// BUGS: Windows fetches a root certificate when one of its own programs first needs it; a server
// whose root nobody on the machine has met yet is refused.
void LoadSystemTrustStore(SSL_CTX* tls) {
  const HCERTSTORE roots = CertOpenSystemStoreW(0, L"ROOT");
  if (roots == nullptr) return;
  X509_STORE* anchors = SSL_CTX_get_cert_store(tls);
  PCCERT_CONTEXT certificate = nullptr;
  while ((certificate = CertEnumCertificatesInStore(roots, certificate)) != nullptr) {
    if (!IsForServers(certificate)) continue;
    const unsigned char* bytes = certificate->pbCertEncoded;
    X509* anchor = d2i_X509(nullptr, &bytes, static_cast<long>(certificate->cbCertEncoded));
    if (anchor == nullptr) continue;  // of no use to us, and no reason to refuse the others
    X509_STORE_add_cert(anchors, anchor);
    X509_free(anchor);
  }
  CertCloseStore(roots, 0);
  ERR_clear_error();
}

}  // namespace vespro::engine::platform
