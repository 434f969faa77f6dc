#pragma once

#include <memory>

#include "core/tablet/wifi/network_changes.h"

namespace lumivale::platform {

// This computer's network changes as the system reports them. Where they cannot be
// followed (the log says why), a source that never reports one: the regular rounds
// still run.
std::unique_ptr<NetworkChanges> followNetworkChanges();

}  // namespace lumivale::platform
