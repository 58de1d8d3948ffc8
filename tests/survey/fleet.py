#!/usr/bin/env python3
"""A fleet of backups by a seed, and what a survey of it must count, in this file's own account of an upgrade.

usage: fleet.py VOLUMES SAMPLES FOLDER BLADES SEED
VOLUMES are those of a factory blade with the older sample's defaults; beside FOLDER is written FOLDER.truth.
"""
import collections
import gzip
import hashlib
import io
import json
import pathlib
import random
import re
import struct
import sys
import tarfile

REFERENCE, CONFIG, GROUPS = "nand0/default_bridge_config.cfg.0", "nand1/brapp_config.bin", "nand1/brapp_hostgroup.bin"
MEMBERS = [REFERENCE, CONFIG, GROUPS, "nand1/brapp_passwd.bin", "nand1/brapp_fcip.bin", "nand1/brapp_migration_param.cfg",
           "nand1/brapp_event_notify.bin", "nand1/brapp_device.bin"]
PORTS, PORT, ISCSI = 3100 + 8, 1296, 8  # where the first one's settings are, bytes of one, number of the first iSCSI port
# Where settings are that users have changed here: file, offset, type; and what they chose, the favourite first.
SETTINGS = {
    "config.bridge.BridgeLogSize": (CONFIG, 64 + 640, "<I", [9999, 4096, 512, 1]),
    "config.bridge.BridgeLogLevel": (CONFIG, 64 + 777, "<B", [7, 3]),
    "config.bridge.BridgeTargetMode": (CONFIG, 64 + 779, "<B", [3, 2]),
    "config.bridge.BridgeIscsiBaseName": (CONFIG, 64 + 384, "256s", ["iqn.2001-01.com.example:a", "naa.\xe9"]),
    "config.cli.BridgeCliPrompt": (CONFIG, 64 + 1036, "64s", ["rack>", 'a "b"\\', "vx2410 #>"] + [f"r{i}" for i in range(40)]),
    "config.hostgroup.3.HostGroupName": (GROUPS, 64 + 3 * 940 + 6, "64s", ["mail", "GROUP_3B"]),
    "config.mgmt.iDhcpEnabled": (CONFIG, 2768, "<I", [1]),
    "config.mgmt.IpAddr": (CONFIG, 2768 + 8, "4s", ["\n\x01\x02\x03"]),
    "config.port.fc.5.ExecutionThrottle": (CONFIG, PORTS + 5 * PORT + 574, "<H", [64, 256]),
    "config.port.is.1.TcpMaxWinSize": (CONFIG, PORTS + (ISCSI + 1) * PORT + 504, "<I", [1000, 65535, 30000]),
    "config.port.is.3.TcpMaxWinSize": (CONFIG, PORTS + (ISCSI + 3) * PORT + 504, "<I", [1000, 65535]),
}
FORCED = {"config.bridge." + name for name in ("BridgeIqnGenFlags", "BridgeTargetMode", "BridgeLunMapping", "BridgeIscsiBaseName")}
NEVER = re.compile(r"config\.(bridge\.BridgeSwVersionNumber|mgmt\.(IpAddr|GatewayIpAddr)|port\.gi\.[23]\..*)$")
UNCOMPARED = re.compile(r"properties\.|config\.snmp\.|config\.bridge\.(ExtendedCapabilities0|asyncMigrPeriodicFlushTime)$")
# An older firmware's defaults, where they were others.
OLDER = {"properties.file.version": "5.1.0.7", "config.bridge.BridgeLogSize": "1024", "config.bridge.BridgeTargetMode": "2",
         "config.port.is.1.TcpMaxWinSize": "16384", "config.mgmt.IpAddr": "10.0.9.9"}


def parse(text):
    return dict(re.findall(r'^([\w.-]+) *= *"([^"]*)"', text, re.MULTILINE))


def order(key):
    sections = ["bridge.", "cli.", "port.is.", "port.fc.", "port.gi.", "hostgroup.", "mgmt."]
    return next(i for i, section in enumerate(sections) if key.startswith("config." + section))


def upgraded(old, new, live):
    """What becomes of each default that changed: (key, kind, the user's value or None)."""
    live = dict(live)
    is_set_up = any(live[key] != old[key] for key in ("config.mgmt.iDhcpEnabled", "config.mgmt.IpAddr"))
    changed = [key for key in new if new[key] != old[key] and not UNCOMPARED.match(key)]
    for key in sorted(changed, key=order):
        record = key.replace(".gi.", ".is.")  # GigE defaults go into the iSCSI port of their number, after its own
        value = live[record]
        if NEVER.match(key):
            yield key, "never", None
        elif value == old[key] and not (is_set_up and key.startswith("config.mgmt.")):
            yield key, "moved", None
            live[record] = new[key]
        elif value == new[key]:
            yield key, "alreadyThere", None
        else:
            yield key, "forced" if key in FORCED else "kept", value


class Fleet:
    def __init__(self, volumes, samples, seed):
        self.random = random.Random(seed)
        self.base = {name: (volumes / name).read_bytes() for name in MEMBERS}
        self.new = (samples / "personality-5.3.0.cfg").read_text()
        sample = (samples / "personality-5.2.1.cfg").read_text()
        older = re.sub(r'^([\w.-]+)( *= *)"[^"]*"', lambda m: f'{m[1]}{m[2]}"{OLDER[m[1]]}"' if m[1] in OLDER else m[0], sample,
                       flags=re.MULTILINE)
        self.old = [sample] * 6 + [older] * 3 + [self.new]
        self.sums = {}

    def users_values(self, files, live):
        for key in self.random.sample(list(SETTINGS), self.random.choice([0, 0, 1, 2, 5])):
            name, offset, form, values = SETTINGS[key]
            value = values[min(int(self.random.expovariate(1)), len(values) - 1)]
            stored = value.encode("latin-1") if isinstance(value, str) else value
            files[name] = bytearray(files[name])
            struct.pack_into(form, files[name], offset, stored)
            text = stored.decode("utf-8", "replace") if isinstance(value, str) else str(value)
            live[key] = ".".join(map(str, stored)) if key.endswith("IpAddr") else text

    def factory(self, files, live, old):
        """The blade was made with its old defaults."""
        for key, (name, offset, form, values) in SETTINGS.items():
            stored = bytes(map(int, old[key].split("."))) if form == "4s" else old[key].encode() if "s" in form else int(old[key])
            files[name] = bytearray(files[name])
            struct.pack_into(form, files[name], offset, stored)
            live[key] = old[key]

    def archive(self, files, stale=None, left_out=None):
        """`stale` is changed, and `left_out` left, after the sums were made."""
        lines = ""
        for name, content in files.items():
            content = bytes(content)
            self.sums[content] = self.sums.get(content) or hashlib.sha256(content).hexdigest()
            lines += f"{self.sums[content]}  mnt/{name}\n"
        if len(self.sums) > 1000:
            self.sums.clear()
        written = {"SHA256SUMS": lines.encode(), **{"mnt/" + name: content for name, content in files.items()}}
        if stale:
            name, offset = stale
            written["mnt/" + name] = bytearray(written["mnt/" + name])
            written["mnt/" + name][offset] ^= 1 << self.random.randrange(8)
        written.pop("mnt/" + (left_out or ""), None)
        packed = io.BytesIO()
        with tarfile.open(fileobj=packed, mode="w", format=tarfile.PAX_FORMAT) as tar:
            for name, content in written.items():
                header = tarfile.TarInfo(name)
                header.size, header.mode = len(content), 0o755
                tar.addfile(header, io.BytesIO(content))
        return gzip.compress(packed.getvalue(), 3, mtime=0)

    def blade(self):
        """The bytes of a backup, what will happen to it, its old version, and its settings' fates."""
        text = self.random.choice(self.old)
        old, new, files, live = parse(text), parse(self.new), dict(self.base), parse(self.old[0])
        files[REFERENCE] = text.encode()
        self.factory(files, live, old)
        self.users_values(files, live)
        fate, damage = "merged" if old != new else "notMerged", self.random.randrange(60)
        read = MEMBERS[:3] if old != new else MEMBERS[:1]  # where the versions are the same nothing else matters
        if damage == 0:
            return self.random.randbytes(self.random.choice([0, 100, 5000])), "damaged", None, []
        if damage == 1:
            whole = self.archive(files)
            return whole[:self.random.randrange(len(whole) * len(read) // 6)], "damaged", None, []
        if damage <= 3:  # what plans read
            name = self.random.choice(read)
            return self.archive(files, stale=(name, self.random.randrange(len(files[name])))), "damaged", None, []
        if damage == 4:  # a mark by which the store is known
            fate = "notMerged" if old == new else "damaged"
            return self.archive(files, stale=(self.random.choice(MEMBERS[3:]), 4)), fate, old, []
        if damage == 5:
            return self.archive(files, left_out=self.random.choice(read)), "damaged", None, []
        if damage in (6, 7):  # as it was on the blade
            if damage == 6:
                del files[self.random.choice(MEMBERS[1:5] + MEMBERS[7:])]
            else:
                name = self.random.choice(MEMBERS[1:])
                files[name] = b"\1" * 64 + bytes(files[name][64:])
            fate = "notMerged"
        stale = (MEMBERS[3], 2000) if damage == 8 else None  # what no plan reads
        return self.archive(files, stale), fate, old, upgraded(old, new, live) if fate == "merged" else []


def main(volumes, samples, folder, blades, seed):
    fleet, folder = Fleet(pathlib.Path(volumes), pathlib.Path(samples), seed), pathlib.Path(folder)
    fates, versions, look = collections.Counter(), collections.Counter(), []
    settings = collections.defaultdict(collections.Counter)
    values = collections.defaultdict(collections.Counter)
    for number in range(int(blades)):
        path = folder / f"{number % 7}/blade-{number:06}.tgz"
        path.parent.mkdir(parents=True, exist_ok=True)
        content, fate, old, changes = fleet.blade()
        path.write_bytes(content)
        fates[fate] += 1
        if fate != "damaged":
            versions[old["properties.file.version"]] += 1
        is_forced = False
        for key, kind, value in changes:
            settings[key][kind] += 1
            is_forced |= kind == "forced"
            if value is not None:
                values[key][value] += 1
        if fate != "merged" or is_forced:
            look.append([str(path.relative_to(folder)), "forced" if fate == "merged" else fate])
    truth = {"fates": fates, "versions": versions, "look": sorted(look), "settings": settings, "values": values}
    pathlib.Path(str(folder) + ".truth").write_text(json.dumps(truth))


if __name__ == "__main__":
    main(*sys.argv[1:])
