#!/usr/bin/env python3
"""A survey counts what is true of a fleet, in one run as in parts, and upgrades then do what it says.

usage: survey_test.py BIN ROOT
"""
import collections
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile

import fleet as fleets

BIN, ROOT = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
SAMPLES, NEW = ROOT / "samples", str(ROOT / "samples/personality-5.3.0.cfg")
MODULES = ROOT / "build-npm/node_modules"
LONG = os.environ.get("RELIABILITY") == "long"
BLADES, SAMPLE = (10_000, 50) if LONG else (200, 5)
SEED = int(os.environ.get("FLEET_SEED", random.randrange(10**6)))
COUNTS = ["moved", "kept", "alreadyThere", "forced", "never"]
checks, failures = 0, []


def check(what, expected, actual):
    global checks
    checks += 1
    if expected != actual:
        failures.append(f"{what}\n--- expected\n{str(expected)[:3000]}\n--- actual\n{str(actual)[:3000]}")


def run(*command, text=None, status=None):
    done = subprocess.run(list(map(str, command)), input=text, capture_output=True, text=True, check=False)
    if status is not None:
        check(" ".join(map(str, command[:4])) + " ends with", status, done.returncode)
    return done.stdout


def survey(*arguments, **others):
    return run("vxcfg", "survey", *arguments, **others)


def truth_of(document, folder):
    """A document in the form of a fleet's truth."""
    settings = {row["key"]: {name: row[name] for name in COUNTS if row[name]} for row in document["settings"]}
    values = {row["key"]: {value["value"]: value["blades"] for value in row["values"]} for row in document["settings"]}
    return {"fates": {fate: document["blades"][fate] for fate in ("merged", "notMerged", "damaged")},
            "versions": {row["version"]: row["blades"] for row in document["versions"]},
            "look": [[os.path.relpath(row["blade"], folder), row["kind"]] for row in document["look"]],
            "settings": settings, "values": {key: counts for key, counts in values.items() if counts}}


def parts_of(folder, names):
    """The same in parts: documents and lines are added to the result of one run, and so are parts of it."""
    one = survey("--format", "json", NEW, "-", text="\n".join(names))
    for form in "json", "jsonl":
        parts = [folder + f"/part{number}.{form}" for number in range(4)]
        for number, part in enumerate(parts):
            some = names[len(names) * number // 4:len(names) * (number + 1) // 4]
            pathlib.Path(part).write_text(survey("--jobs", number + 1, "--format", form, NEW, "-", text="\n".join(some)))
        check(f"four parts in {form}", one, survey("--merge", "--format", "json", *parts))
    check("the text of parts", survey(NEW, "-", text="\n".join(names)), survey("--merge", *parts))
    return parts


def many_values(folder):
    """More values and more blades to look at than are kept: parts in any division give the same."""
    plan = json.loads(run("vxcfg", "plan", "--format", "json", "--volumes", folder + "/volumes", NEW))
    row = next(row for row in plan["settings"] if row["key"] == "config.cli.BridgeCliPrompt")
    chosen, lines, counts = random.Random(SEED), [], collections.Counter()
    for number in range(12_000):
        value = f"v{int(chosen.expovariate(0.001))}"
        counts[value] += 1
        line = {"blade": str(number), "plan": {**plan, "settings": [{**row, "action": "force", "live": value}]}}
        lines.append(json.dumps(line) + "\n")
    whole = survey("--merge", "--format", "json", "-", text="".join(lines), status=1)
    parts, ends = [folder + f"/values{number}" for number in range(3)], [0, 500, 11_700, 12_000]
    for number, part in enumerate(parts):
        some = lines[ends[number]:ends[number + 1]]
        pathlib.Path(part).write_text(survey("--merge", "--format", "json", "-", text="".join(some)))
    check("parts with many values", whole, survey("--merge", "--format", "json", *parts))
    check("one part", whole, survey("--merge", "--format", "json", "-", text=whole))
    document = json.loads(whole)
    setting = document["settings"][0]
    kept = {value["value"]: value["blades"] for value in setting["values"]}
    check("bounded", (1024, True, 10_000, 2_000),
          (len(kept), setting["sampled"], len(document["look"]), document["lookOmitted"]))
    check("the counts that are kept", {value: counts[value] for value in kept}, kept)
    check("the rest", 12_000 - sum(kept.values()), setting["otherValues"])
    survey("--accept", row["key"], "--merge", "-", text="".join(lines), status=0)
    survey("--accept", row["key"], "--merge", *parts, status=2)


def other_ways(folder, truth, parts):
    """Other programs over the same lines."""
    if shutil.which("parallel"):
        names = "\n".join(sorted(map(str, pathlib.Path(folder + "/fleet").glob("*/*"))))
        lines = run("parallel", "--will-cite", "--sshlogin", ":,:", "--pipe", "-N", 30, "-k", BIN / "vxcfg", "survey",
                    "--format", "jsonl", NEW, "-", text=names)
        document = json.loads(survey("--merge", "--format", "json", "-", text=lines))
        check("parallel", truth, truth_of(document, folder + "/fleet"))
    else:
        print("SKIPPED: survey_test: parallel is not installed")
    if not (MODULES / "@duckdb/node-api").exists() or not shutil.which("node"):
        print("SKIPPED: survey_test: DuckDB is not installed")
        return
    expected = {key: counts["kept"] for key, counts in truth["settings"].items() if "kept" in counts}
    check("DuckDB", expected, dict(duckdb(
        """select s.key, count(*)::int from (select unnest(plan.settings) as s from read_json_auto('fleet.jsonl'))
           where s.action = 'keep' and s.live <> s.new group by s.key""", parts)))
    documented = (ROOT / "docs/defaults-files.md").read_text().split("\nselect ")[1].split(";")[0]
    expected = [[os.path.relpath(line["blade"], folder + "/fleet"), row["live"]] for line in lines_of(parts) if "plan" in line
                for row in line["plan"]["settings"]
                if (row["key"], row["action"]) == ("config.bridge.BridgeLogSize", "keep")]
    actual = [[os.path.relpath(blade, folder + "/fleet"), live] for blade, live in duckdb("select " + documented, parts)]
    check("the query in the documents", sorted(expected), sorted(actual))


def duckdb(query, parts):
    """The rows that DuckDB answers, with the parts as the fleet's lines."""
    program = """require('@duckdb/node-api').DuckDBInstance.create().then(instance => instance.connect())
        .then(connection => connection.runAndReadAll(process.argv[1]))
        .then(rows => console.log(JSON.stringify(rows.getRowsJson())))"""
    return json.loads(run("env", f"NODE_PATH={MODULES}", "node", "-e", program, query.replace("'fleet.jsonl'", repr(parts)), status=0))


def lines_of(parts):
    return [json.loads(line) for part in parts for line in pathlib.Path(part).read_text().splitlines()]


def upgrades(folder, parts):
    """What an upgrade really does with some of the blades."""
    planned = [line for line in lines_of(parts) if "plan" in line and line["plan"]["merges"]]
    os.mkdir(folder + "/firmware")
    shutil.copy(NEW, folder + "/firmware/default_bridge_config.cfg")
    random.Random(SEED).shuffle(planned)
    state, done = folder + "/blade", 0
    while done < SAMPLE and planned:
        line = planned.pop()
        run("bladesim", "--state", state, "true", status=0)
        # A backup that is damaged where no plan reads is not restored.
        if subprocess.run(["vxcfg", "store", "restore", "--volumes", state, line["blade"]], capture_output=True, check=False).returncode == 0:
            run("sh", "-c", f"cd {folder}/firmware && bladesim --state {state} vxpvh", status=0)
            last = json.loads(run("vxcfg", "last", "--format", "json", "--volumes", state, status=0))
            check(f"the upgrade of {line['blade']}", line["plan"]["settings"], last["settings"])
            done += 1
        shutil.rmtree(state)
    check("blades upgraded", SAMPLE, done)


def interrupted(names):
    """What was done so far, and that it is not all."""
    process = subprocess.Popen(["vxcfg", "survey", "--format", "jsonl", NEW, "-"], stdin=subprocess.PIPE, text=True,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    process.stdin.write("\n".join(names[:8]) + "\n")
    process.stdin.flush()
    lines = [process.stdout.readline()]
    process.send_signal(signal.SIGINT)
    lines += process.stdout.readlines()
    check("an interrupted run tells", f"vxcfg: interrupted after {len(lines)} blades\n", process.stderr.read())
    check("it ends with", 1, process.wait())
    check("its blades", names[:len(lines)], [json.loads(line)["blade"] for line in lines])


def main():
    os.environ["PATH"] = f"{BIN}:{os.environ['PATH']}"
    with tempfile.TemporaryDirectory() as folder:
        state = folder + "/volumes"
        made = subprocess.run(["bladesim", "--state", state, "vxcfg", "store", "create", "--defaults",
                               str(SAMPLES / "personality-5.2.1.cfg")], capture_output=True, text=True, check=False)
        if made.returncode != 0:
            print("SKIPPED: survey_test:", made.stderr.strip())
            return 77
        fleets.main(state, SAMPLES, folder + "/fleet", BLADES, SEED)
        truth = json.loads(pathlib.Path(folder + "/fleet.truth").read_text())
        os.symlink(folder + "/fleet", folder + "/fleet/3/circle")
        document = json.loads(survey("--format", "json", NEW, folder + "/fleet", status=1))
        os.remove(folder + "/fleet/3/circle")
        actual = truth_of(document, folder + "/fleet")
        for what, expected in truth.items():
            check(what, expected, actual[what])
        names = [str(path) for path in sorted(pathlib.Path(folder + "/fleet").glob("*/*"))]
        parts = parts_of(folder, names)
        many_values(folder)
        other_ways(folder, truth, parts)
        upgrades(folder, parts)
        interrupted(names)
    print("\n".join(failures + [f"survey_test: {checks - len(failures)} passed, {len(failures)} failed; FLEET_SEED={SEED}"]))
    return 1 if failures else 0


sys.exit(main())
