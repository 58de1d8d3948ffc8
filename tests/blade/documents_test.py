#!/usr/bin/env python3
"""The commands in the documents print what is below them, and JSON is as its schema says.

usage: documents_test.py BIN ROOT
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import jsonschema

BIN, ROOT = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
PAGES = ["README.md", "docs/at-a-blade.md", "docs/defaults-files.md", "docs/man/bladesim.1.scd",
         "docs/man/vxblade-defaults.5.scd", "docs/man/vxcfg.1.scd"]
# On blades of the pages, after all of them: each result by its name in the schema.
DOCUMENTS = {
    "check": "vxcfg check samples/with-mistakes.cfg samples/personality-5.3.0.cfg",
    "diff": "vxcfg diff samples/personality-5.2.1.cfg samples/with-mistakes.cfg",
    "plan": "vxcfg plan --volumes S --old samples/personality-5.2.1.cfg samples/personality-5.3.0.cfg",
    "last": "vxcfg last --volumes S",
    "show": "vxcfg show --volumes S",
    "get": "vxcfg get --volumes S config.bridge.BridgeLogSize",
    "set": "bladesim --state S vxcfg set config.bridge.BridgeLogSize 0x10",
    "export": "vxcfg export --volumes S",
    "hw": "bladesim --state S vxcfg hw",
    "env": "vxcfg env --image S/nor.bin",
    "env get": "vxcfg env get --image S/nor.bin ChassisName",
    "env set": "bladesim --state S vxcfg env set SERIAL 42",
    "restore": "(bladesim --state B vxcfg env set X 1; bladesim --state B vxcfg set config.bridge.BridgeLogSize 1) >x;"
               "bladesim --state B vxcfg store restore --dry-run B.backup",
    "verify": "printf x >>S/nand2/brapp_config.bin; touch S/nand1/odd; vxcfg store verify --volumes S",
    "survey": "vxcfg survey samples/personality-5.3.0.cfg fleet",
    "surveyLine": "vxcfg survey --format jsonl samples/personality-5.3.0.cfg fleet/blade2.tgz #",
}


def run(command, folder):
    done = subprocess.run(["bash", "-c", command], cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          env={**os.environ, "PATH": f"{BIN}:{os.environ['PATH']}"}, text=True, check=False)
    return done.stdout


def alike(text):
    """The same on any day."""
    return re.sub(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", "TIME", text)


def blocks(page):
    """Each command of a page's fenced blocks and what the page says that it prints."""
    for block in re.findall(r"^```\n(\$ .*?)^```$", page, re.MULTILINE | re.DOTALL):
        for part in re.split(r"^\$ ", block, flags=re.MULTILINE)[1:]:
            command, _, printed = part.partition("\n")
            yield command, printed


def main():
    failures, checks = [], 0
    schema = json.loads((ROOT / "docs/vxcfg.schema.json").read_text())
    with tempfile.TemporaryDirectory() as folder:
        shutil.copytree(ROOT / "samples", folder + "/samples")
        why = run("bladesim --state S true", folder)
        if why:
            print("SKIPPED: documents_test:", why.strip())
            return 77
        for page in PAGES:
            for command, expected in blocks((ROOT / page).read_text()):
                actual, checks = run(command, folder), checks + 1
                if alike(actual) != alike(expected):
                    failures.append(f"{page}: $ {command}\n--- expected\n{expected}--- actual\n{actual}")
        for name, command in DOCUMENTS.items():
            validator = jsonschema.Draft202012Validator({**schema, "$ref": "#/$defs/" + name})
            printed, checks = json.loads(run(command + " --format json", folder)), checks + 1
            failures += [f"{command}: {error.message}" for error in validator.iter_errors(printed)]
    print("\n".join(failures + [f"documents_test: {checks} checked, {len(failures)} failed"]))
    return 1 if failures or checks == len(DOCUMENTS) else 0


sys.exit(main())
