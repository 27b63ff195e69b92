// engine/net/system.h - what the wire wants of the operating system beyond sockets.
#pragma once

#include <openssl/ssl.h>

namespace vespro::engine::platform {

// Makes OpenSSL ready: call it before anything else of OpenSSL. It must not read a configuration
// from a place that others can write to.
void PrepareTls();

// Trusts the certificates that the system trusts. Where there are none nothing is done; then every
// certificate is refused, which says so itself.
void LoadSystemTrustStore(SSL_CTX* tls);

}  // namespace vespro::engine::platform
