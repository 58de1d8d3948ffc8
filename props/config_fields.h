// Which keys of a personality file fill which record fields, section by section. Order is the
// order in which an upgrade compares them.
#pragma once

#include "props/fields.h"

namespace vx {

inline constexpr const char* versionPrefix = "properties.file.";
inline constexpr const char* bridgePrefix = "config.bridge.";
inline constexpr const char* cliPrefix = "config.cli.";

inline constexpr Field versionFields[] = {
    VX_FIELD(VersionBlock, version),
    VX_FIELD(VersionBlock, product),
};

// Loaded with the factory defaults, never touched by an upgrade.
inline constexpr Field bridgeIdentity[] = {
    VX_FIELD(BridgeConfig, BridgeProductName),   VX_FIELD(BridgeConfig, BridgeSerialNumber),
    VX_FIELD(BridgeConfig, BridgeVersionNumber), VX_FIELD(BridgeConfig, BridgeSwVersionNumber),
    VX_FIELD(BridgeConfig, BridgeSymbolicName),
};

inline constexpr Field bridgeSettings[] = {
    VX_FIELD(BridgeConfig, BridgeMode),
    VX_FIELD(BridgeConfig, BridgeLogSize),
    VX_FIELD(BridgeConfig, BridgeLogLevel),
    VX_FIELD(BridgeConfig, BridgeRemoteCommandTimeout),
    VX_FIELD(BridgeConfig, BridgeSmisFlags),
    VX_FIELD(BridgeConfig, BridgeUserDaemonFeatures),
    VX_FIELD(BridgeConfig, BridgeSmisListenerPersistenceType),
};

// Merged by an upgrade and loaded by a reader of its own, not with the other bridge settings.
inline constexpr Field bridgeDataMigration[] = {
    VX_FIELD(BridgeConfig, BridgeDataMigrationMode),
};

inline constexpr Field bridgeForced[] = {
    VX_FORCED(BridgeConfig, BridgeIqnGenFlags),
    VX_FORCED(BridgeConfig, BridgeTargetMode),
    VX_FORCED(BridgeConfig, BridgeLunMapping),
    VX_FORCED(BridgeConfig, BridgeIscsiBaseName),
};

inline constexpr Field bridgeIpv6Settings[] = {
    VX_FIELD(BridgeConfig, BridgeMode),
    VX_FIELD(BridgeConfig, BridgeSmisFlags),
    VX_FIELD(BridgeConfig, BridgeSmisListenerPersistenceType),
};

inline constexpr Field cliFields[] = {
    VX_FIELD(CliConfig, BridgeCliTimeout),
    VX_FIELD(CliConfig, BridgeCliPrompt),
};

} // namespace vx
