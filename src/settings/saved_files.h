// What an upgrade keeps on the first volume.
#pragma once

namespace vx {

// The personality file of the last upgrade.
inline constexpr const char* savedPersonalityFiles[] = {
    "/mnt/nand0/default_bridge_config.cfg.0", // the reference of the next upgrade
    "/mnt/nand0/default_bridge_config.cfg.1",
};

// The reference of an upgrade whose changes could not be merged.
inline constexpr const char* unmergedPersonalityFile =
    "/mnt/nand0/default_bridge_config.cfg.unmerged";

// How far an unfinished upgrade came (upgrade/journal.h).
inline constexpr const char* upgradeJournal = "/mnt/nand0/vxpvh.journal";

// What the last upgrade that merged decided (upgrade/change_report.h).
inline constexpr const char* upgradeReport = "/mnt/nand0/upgrade.report";

} // namespace vx
