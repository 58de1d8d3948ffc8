#include "tests/support/text.h"
#include "tools/base/files.h"
#include "tools/defaults/lint.h"
#include "tools/defaults/release_diff.h"
#include "tools/defaults/seal.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

std::string sample(const char* version = "5.3.0") {
    return tools::readText(SAMPLES "/personality-"s + version + ".cfg");
}

// The text with the first `from` replaced; an empty one is its beginning.
std::string edited(std::string text, const std::string& from, const std::string& to) {
    std::size_t const at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

// The same with the seal that belongs to it, unless the edit was the seal's.
std::string resealed(const std::string& text) {
    bool const isSamples = text.find("crc32 = \"06b956f8\"\n") != std::string::npos;
    auto const computed = tools::lint(tools::DefaultsText(text)).computedSeal;
    return isSamples ? edited(text, "06b956f8", tools::sealDigits(computed)) : text;
}

// What many edits replace.
const std::string mode = "Mode = \"1\"", head = "# Bridge\n";

// An edit of the sample, the place and severity of the one finding that it gives, and words of it.
struct Defect {
    std::string from, to, place, words;
};

const Defect defects[] = {
    // clang-format off
    {"", "\xEF\xBB\xBF", "1:1e", "byte order mark"}, {"", "\xFF\xFE", "1:1e", "UTF-16"}, {mode, "Mode \"1\"", "14:26e", "no equals sign between"},
    {mode, "Mode: \"1\"", "14:25e", "a colon in place of the equals sign; nothing after this is read (697 lines)"}, {mode, "Mode", "14:1e", "without equals sign"},
    {mode, "Mode =", "14:1e", "without a value"}, {mode, "Mode = 1", "14:28e", "no quote opens"}, {mode, "Mode = \"1", "14:29e", "no quote closes"},
    {"crc32 = \"06b956f8\"", "crc32 = \"06b956f8", "711:26e", "on its line; the line is not read"}, {mode, "Mode = \xE2\x80\x9C""1\xE2\x80\x9D", "14:28e", "typographic"},
    {mode, "Mode = \"1\xE2\x80\x9D", "14:30e", "typographic"}, {mode, "Mode = '1'", "14:28e", "single quote"}, {mode, "Mode = \"1\" one", "14:32e", "text after"},
    {head, "# Bridge\r", "7:9e", "CR alone"}, {mode, "Mode = \"1\";", "14:31e", "but its line"}, {mode, "Mode = \"1\" // one", "14:32e", "begin with #"},
    {"vx2410\"", "vx\"2410\"", "13:40e", "text after"}, {mode, "Mode = \"1\0\""s, "14:30e", "a NUL byte"}, {head, "<<<<<<< HEAD\n", "7:1e", "marker of a merge"},
    {"# CRC-32", "# \0CRC"s, "710:3e", "a NUL byte; nothing after this is read (1 line)"}, {head, "; Bridge\n", "7:1e", "nor a comment"},
    {"\"1\"\nconfig.bridge.BridgeLogSize", "\"1\"\rconfig.bridge.BridgeLogSize", "14:31e", "CR alone"}, {head, "[Bridge]\n", "7:1e", "sections are"},
    {head, std::string(256, 'k') + "= \"\"\n", "7:1e", "256 characters"}, {"config.bridge.BridgeMode =", "\"config.bridge.BridgeMode\" =", "14:1e", "key is in quotes"},
    {"Mode =", "Mode\xC2\xA0=", "14:25e", "no-break space"}, {"BridgeMode", "BridgeMod", "14:1e", "mean config.bridge.BridgeMode?"},
    {"BridgeMode", "bridgemode", "14:1e", "spelt config.bridge.BridgeMode"}, {"config.bridge.BridgeMode", "config.brigde.BridgeMode", "14:1e", "section config.brigde."},
    {"config.bridge.BridgeMode", "config.cli.BridgeMode", "14:1e", "belongs to config.bridge.BridgeMode"},
    {"config.bridge.BridgeMode", "BridgeMode", "14:1e", "config.bridge.BridgeMode"}, {head, "config.port.gi.0.Ipv6Enabled = \"1\"\n", "7:1e", "config.port.is.0.Ipv6Enabled"},
    {head, "entirely.unknown = \"1\"\n", "7:1e", "unknown section entirely."}, {"config.port.pcie.0", "config.port.pcie.1", "660:1e", "0. is the only one"},
    {"config.hostgroup.3.index", "config.hostgroup.4.index", "703:1e", "has the numbers 0 to 3"}, {head, "config.chassis.Name = \"x\"\n", "708:1e", "another chassis name"},
    {head, "config.bridge.BridgeMode = \"7\"\n", "14:1e", "the value of line 7 counts, \"7\""}, {mode, "Mode = \"\"", "14:29e", "a blade reads 0"},
    {"config.bridge.BridgeMode = \"1\"\n", "", "23:1e", "BridgeMode is missing: the default is then 0"}, {mode, "Mode = \"12abc\"", "14:31e", "a blade reads 12"},
    {"config.bridge.ELSCapabilities = \"2\"\n", "", "35:1e", "who asks for it finds none"}, {mode, "Mode = \"1\n\"", "14:30e", "a line break"},
    {"config.snmp.ReadCommunity = \"public\"\nconfig.snmp.TrapCommunity = \"public\"\n", "", "709:1e", "(SNMP communities) is missing, 2 keys: the defaults are then 0 or empty"},
    {"config.chassis.ChassisName = \"vx2410-chassis\"\n", "", "710:1e", "the chassis name is then empty"}, {mode, "Mode = \"1\t\"", "14:30e", "a control character"},
    {mode, "Mode = \"300\"", "14:29e", "300 does not fit 8 bits (0..255); a blade reads 44"}, {mode, "Mode = \"-1\"", "14:29e", "no decimal number; a blade reads 255"},
    {".FwOptions = \"", ".FwOptions = \"9", "82:31e", "91026 does not fit 16 bits (0..65535); a blade reads 25490"}, {"10.0.0.1\"", "10.0.0.1/8\"", "64:31e", "no IPv4 address"},
    {"LogSize = \"4096", "LogSize = \"4294967596", "15:32e", "(0..4294967295); a blade reads 4294967295"}, {"020000000001", "02:00:00:00:00:01", "67:26e", "without separators"},
    {"iDhcpEnabled = \"1", "iDhcpEnabled = \"2", "62:29e", "neither 0 nor 1"}, {"10.0.0.1\"", "10.0.0\"", "64:23e", "no IPv4 address; a blade reads 10.0.0.0"},
    {"10.0.0.1\"", "10.0.300.1\"", "64:28e", "does not fit 0..255; a blade reads 10.0.44.1"}, {"2100020000000000", "21000200000000g0", "318:44e", "no hexadecimal digit"},
    {"020000000001", "02000000000", "67:24e", "11 digits in place of 12; a blade reads 020000000000"}, {"file.crc32 =", "file.crc =", "711:1e", "mean properties.file.crc32?"},
    {"FD000000000000000000000000000001", "fd00::1", "111:38e", "write 32 digits"}, {"\"vx2410\"", '"' + std::string(64, 'x') + '"', "13:37e", "64 characters do not fit 63"},
    {"VX2410 Storage Bridge", std::string(256, 'x'), "8:36e", "reads the first 255"}, {"crc32 = \"06b956f8\"", "crc32 = \"06b956f\t\"", "711:26e", "no seal of eight"},
    {"crc32 = \"06b956f8\"", "crc32 = \"06b956f9\"", "711:26e", "the seal is 06b956f9, the properties give 06b956f8"}, {"020000000001", "030000000001", "67:24w", "multicast"},
    {"255.255.255.0", "255.0.255.0", "65:27w", "not contiguous"}, {"properties.file.crc32 = \"06b956f8\"\n", "", "710:1e", "the seal is missing"},
    {"2100020000000001", "2100020000000000", "347:30w", "world-wide name"}, {head, "properties.file.crc32 = \"no\"\n", "711:1e", "the last one counts, the first is in line 7"},
    {"e.version = \"5.3.0.12\"", "e.version = \"\"", "4:28e", "empty version"}, {"10.0.0.254", "10.0.1.254", "66:30w", "outside the subnet of config.mgmt.IpAddr"},
    {"020000010001", "020000000001", "135:29w", "MAC address as config.mgmt.MacAddr, line 67"}, {"iqn.2026-01", "iqn.2026-13", "12:38w", "no iSCSI name"},
    {"SecIpAddr = \"0.0.0.0", "SecIpAddr = \"192.168.2.10", "136:28w", "address as config.port.is.0.SecIpAddr, line 77"}, {head, "# Bridge\r\n", "7:9w", "mixed"},
    {"FD000000000000000000000000000002", "FD000000000000000000000000000001", "173:34w", "IPv6"}, {"InstanceNo = \"0", "InstanceNo = \"1", "103:32w", "number of its section, 0"},
    {head, "# Bridge \n", "7:9w", "blanks at the end"}, {"SwVersionNumber = \"5.3.0.12", "SwVersionNumber = \"5.3.0.11", "11:40w", "not the file's version"},
    {"06b956f8\"\n", "06b956f8\"", "711:1w", "line feed"}, {mode, "Mode = \" 1\"", "14:29w", "after the opening quote"}, {mode, "Mode = \"01\"", "14:29w", "leading zeros"},
    {"vx2410\"", "vx2410\xC3\xA9\"", "13:43w", "not ASCII"},
    // clang-format on
};

// What has nothing to be found, each in place of a line of the sample.
const std::pair<std::string, std::string> legal[] = {
    // clang-format off
    {"", ""}, {"", "\n  # a comment: with = \"signs\" and \xC3\xBC\n\t\n"}, {mode, "Mode=\"1\" # one, \"in quotes\""}, {mode, "Mode\t =\t\"1\""}, {mode, "Mode = \"255\""},
    {"config.bridge.BridgeMode", "  config.bridge.BridgeMode"}, {mode, "Mode = \"0\""}, {"4096", "4294967295"}, {"VX2410 Storage Bridge", std::string(255, 'x')},
    {"VX2410 Storage Bridge", ""}, {"VX2410 Storage Bridge", "a # b = 'c' \\"}, {"vx2410-chassis", std::string(63, 'x')}, {"10.0.0.254", "0.0.0.0"},
    {"config.chassis.ChassisName", "config.chassis.Other-Key"}, {"iqn.2026-01.example.vxblade:vx2410.", "eui.0123456789ABCDEF"}, {"\"06b956f8\"", "\"06B956F8\""},
    {"iqn.2026-01.example.vxblade:vx2410.", "naa.0123456789abcdef0123456789abcdef"}, {"iqn.2026-01.example.vxblade:vx2410.", "iqn.2026-01.e:" + std::string(241, 'x')},
    {"255.255.255.0\"\nconfig.mgmt.G", "255.0.0.0\"\nconfig.mgmt.G"}, {"FE800000000000000000000000000001", "fe8000000000000000000000000000aB"},
    {"2000020000000001", "2000020000000000" /* a node's ports share its name */}, {"config.port.pcie.0.PortNumber", "config.port.pcie.0.Anything"},
    {"\"06b956f8\"", "\"0x6b956f8\" # sealed"}, {"properties.file.version = \"5.3.0.12\"\n", ""}, // with the next: moved to the end
    // clang-format on
};

std::string textOf(const tools::Findings& findings) {
    std::ostringstream all;
    for (auto const& [check, place, message, hint] : findings) {
        all << place.line << ':' << place.column
            << (check->severity == tools::Severity::error ? "e " : "w ") << message << " / " << hint
            << '\n';
    }
    return all.str();
}

tools::Findings lintOf(const std::string& text) {
    return tools::lint(tools::DefaultsText(resealed(text))).findings;
}

TEST(Lint, EveryDefectIsOneFinding) {
    for (auto const& [from, to, place, words] : defects) {
        std::string const found = textOf(lintOf(edited(sample(), from, to)));
        EXPECT_TRUE(found.starts_with(place + ' ') && found.find(words) != std::string::npos &&
                    found.find('\n') == found.size() - 1)
            << to << ", " << place << ", " << words << ": " << found;
    }
}

TEST(Lint, LegalVariantsAreGood) {
    for (auto const& [from, to] : legal) {
        std::string text = edited(sample(), from, to);
        text += text.find("file.version") == std::string::npos ? from : ""; // any order is legal
        EXPECT_EQ(textOf(lintOf(text)), "") << from << " -> " << to;
    }
    EXPECT_EQ(textOf(lintOf(sample("5.2.1"))), "");
}

// Mistakes that follow from one are in its finding; others are told beside it.
TEST(Lint, OneMistakeIsOneFinding) {
    auto const two = edited(edited(sample(), "Level = \"", "Level = "), "Flags =", "Flags :");
    std::string const crLf = replaced(sample(), "\n", "\r\n");
    std::string const cr = replaced(sample(), "\n", "\r");
    std::string const port4 = replaced(sample(), "port.is.3", "port.is.4");
    std::pair<std::string, std::string> const cases[] = {
        // clang-format off
        {two, "16:32e no quote opens the value; nothing after this is read (695 lines) / put the value between plain double quotes (\")\n17:33e a colon in place of the equals sign / write key = \"value\"\n"},
        {crLf, "1:67w lines end with CR LF / end lines with LF\n"}, {cr, "1:67e CR alone does not end a comment; the line is not read / end lines with LF\n"},
        {port4, "256:1e no such number: config.port.is.4.; a blade does not read it (60 lines) / config.port.is.N. has the numbers 0 to 3\n"},
        {sample().substr(0, 20000), "496:28e no quote closes the value on its line; the line is not read / put the value between plain double quotes (\")\n"},
        {"", "1:1e no properties / \n"}, {"# a comment\n", "1:1e no properties / \n"}, {std::string("p\0r\0o\0", 6), "1:2e a NUL byte; the line is not read / is the file in UTF-16?\n"},
        // clang-format on
    };
    for (auto const& [text, all] : cases) {
        EXPECT_EQ(textOf(lintOf(text)), all);
    }
    EXPECT_EQ(tools::lint(tools::DefaultsText(two)).properties, 10U) << "those before the first";
}

// What changes from 5.2.1 on, as edits of that file: the new version comes by itself.
TEST(ReleaseDiff, WhatItDoesToTheField) {
    tools::DefaultsText const old(sample("5.2.1"));
    struct {
        std::string from, to, findings, changes;
    } const cases[] = {
        // clang-format off
        {"", "", "", ""},
        {"LogLevel = \"2\"", "LogLevel = \"3\"", "", "config.bridge.BridgeLogLevel 2 3 merged config.bridge.\n"},
        {"LogLevel = \"2\"", "LogLevel = \"02\"", "", ""},
        {"5.2.1.41", "5.2.1.40", "", ""}, {"5.2.1.41", "5.2.1.9", "4:28e \"5.2.1.9\" is older than \"5.2.1.40\" / \n", ""},
        {"5.2.1.41\"\n", "5.2.1.40\"\nconfig.bridge.BridgeLogLevel=\"3\"\n", "4:28e defaults changed, version and product did not: no blade merges them / raise properties.file.version\n", "config.bridge.BridgeLogLevel 2 3 merged config.bridge.\n"},
        {"VX2410 storage", "VX2411 storage", "5:28e the product changed from \"VX2410 storage bridge blade\" to \"VX2411 storage bridge blade\" / \n", ""},
        {"config.bridge.BridgeLogLevel = \"2\"\n", "", "23:1e config.bridge.BridgeLogLevel is dropped: the default is then 0, also in the field where nobody changed it / \n", "config.bridge.BridgeLogLevel 2 - merged config.bridge.\n"},
        {"TargetMode = \"1\"", "TargetMode = \"2\"", "18:35w config.bridge.BridgeTargetMode changed and is forced: values that users have set are lost / \n", "config.bridge.BridgeTargetMode 1 2 forced config.bridge.\n"},
        {"10.0.0.1\"", "10.0.0.2\"", "64:23w config.mgmt.IpAddr changed: only new blades get the address, and on all others config.mgmt. is not merged from the next release on / keep the address, or tell the field\n", "config.mgmt.IpAddr 10.0.0.1 10.0.0.2 never merged new blades\n"},
        {"gi.0.VlanPriority = \"0", "gi.0.VlanPriority = \"3", "512:34w the old GigE default is the default of config.port.is.0.VlanPriority too: that becomes 3 in the field / the GigE defaults are merged into the iSCSI ports\n", "config.port.gi.0.VlanPriority 0 3 merged config.port.is.N., and new blades\n"},
        {"TrapPort = \"162", "TrapPort = \"161", "670:33w config.snmp.Traps.0.TrapPort changed: only new blades get it / \n", "config.snmp.Traps.0.TrapPort 162 161 never merged new blades\n"},
        {"ELSCapabilities = \"2", "ELSCapabilities = \"3", "", "config.bridge.ELSCapabilities 2 3 never merged programs that ask for it\n"},
        {"vx2410-chassis", "chassis", "", "config.chassis.ChassisName vx2410-chassis chassis never merged new blades\n"},
        // clang-format on
    };
    for (auto const& [from, to, findings, changes] : cases) {
        std::string const text =
            edited(edited(sample("5.2.1"), "5.2.1.40\"\n", "5.2.1.41\"\n"), from, to);
        tools::DefaultsText const now(text);
        auto const diff = tools::compareReleases(old, now);
        std::ostringstream all(textOf(diff.findings), std::ios::ate);
        for (const tools::ChangedDefault& change : diff.changes) {
            all << change.name << ' ' << change.old.value_or("-") << ' ' << change.now.value_or("-")
                << ' ' << change.rule << ' ' << change.reaches << '\n';
        }
        EXPECT_EQ(all.str(), findings + changes);
    }
    std::string const onto = "gi.0.TimeToLive = \"";
    tools::DefaultsText const before(edited(sample("5.2.1"), onto + "64", onto + "33"));
    EXPECT_NE(textOf(tools::compareReleases(before, old).findings)
                  .find("527:32w the new GigE default is the old default of config.port.is.0."),
              std::string::npos);
}

TEST(Seal, WorksOnProperties) {
    std::string const good = sample(), line = "properties.file.crc32 = \"06b956f8\"\n";
    std::string const unsealed = edited(good, line, "");
    std::pair<std::string, std::string> const cases[] = {
        // clang-format off
        {unsealed, good}, {unsealed.substr(0, unsealed.size() - 1), good}, {edited(good, "06b956f8", "1"), good},
        {line + "# " + line + good, line + "# " + line + unsealed},
        {edited(good, line, "\tproperties.file.crc32=\"\" # it\n"), edited(good, line, "\tproperties.file.crc32=\"06b956f8\" # it\n")},
        // clang-format on
    };
    for (auto const& [text, sealed] : cases) {
        EXPECT_EQ(tools::sealText(text), sealed);
    }
}

TEST(Seal, FileKeepsWhatItIs) {
    fs::path const folder = testing::TempDir() + "seal" + std::to_string(::getpid());
    fs::create_directory(folder);
    fs::path const file = folder / "file", link = folder / "link";
    std::ofstream(file) << edited(sample(), "06b956f8", "1");
    fs::permissions(file, fs::perms(0640));
    fs::create_symlink("file", link);
    EXPECT_TRUE(tools::sealFile(link).isNew);
    EXPECT_TRUE(fs::is_symlink(link) && fs::status(file).permissions() == fs::perms(0640));
    EXPECT_EQ(tools::readText(file), sample());
    fs::create_hard_link(file, folder / "same");
    EXPECT_TRUE(!tools::sealFile(link).isNew && fs::hard_link_count(file) == 2) << "not written";
    std::string const bad = edited(edited(sample(), "Mode = \"1", "Mode = \"300"), "06b956f8", "1");
    std::ofstream(file) << bad;
    EXPECT_EQ(textOf(tools::sealFile(file).errors).substr(0, 10), "14:29e 300");
    EXPECT_EQ(tools::readText(file), bad);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 3) << "nothing is left beside it";
    fs::remove_all(folder);
}

} // namespace
