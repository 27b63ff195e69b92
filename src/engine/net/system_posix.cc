#include "engine/net/system.h"

namespace vespro::engine::platform {

void PrepareTls() {}

void LoadSystemTrustStore(SSL_CTX* tls) { SSL_CTX_set_default_verify_paths(tls); }

}  // namespace vespro::engine::platform
