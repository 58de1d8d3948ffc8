// Where the personality file of the last upgrade is kept.
#pragma once

namespace vx {

inline constexpr const char* savedPersonalityFiles[] = {
    "/mnt/nand0/default_bridge_config.cfg.0", // the reference of the next upgrade
    "/mnt/nand0/default_bridge_config.cfg.1",
};

} // namespace vx
