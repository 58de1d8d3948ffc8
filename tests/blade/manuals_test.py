#!/usr/bin/env python3
"""The man pages and the completion have every option and argument of the programs, and no others;
what the pages are built to has no faults; links between documents lead somewhere.

usage: manuals_test.py BIN ROOT [PAGE...]     PAGE: a built man page
"""
import pathlib
import re
import shutil
import subprocess
import sys

BIN, ROOT, BUILT = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3:]
OPTION = re.compile(r"--[a-z][a-z-]*")
COMPLETE = """. "$1"; COMP_WORDS=("${@:2}" ""); COMP_CWORD=$(($# - 1)); COMPREPLY=()
"_$(basename "$2")" "$2"; subcommands=("${COMPREPLY[@]}")
COMP_WORDS[COMP_CWORD]=--; "_$(basename "$2")" "$2"; echo "${subcommands[*]}"; echo "${COMPREPLY[*]}" """
KNOWN = "WARNING: skipping paragraph macro"  # what scdoc writes between paragraphs
failures = []


def printed(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    return done.stdout


def check(what, page, program):
    if page != program:
        failures.append(f"{what}: {page} in the page, {program} in the program")


def sections(text, mark):
    """The text under each headline."""
    parts = re.split(rf"^{mark} (.*)\n", text, flags=re.MULTILINE)
    return dict(zip(parts[1::2], (re.split(r"^#", part, flags=re.MULTILINE)[0] for part in parts[2::2])))


def options_of(text):
    """Those that a help lists, but itself."""
    return set(re.findall(r"^ +(?:-\w,)?(--[a-z][a-z-]*)", text, re.MULTILINE)) - {"--help"}


def commands(*words):
    """Each command that does something, and what its help says."""
    text = printed(BIN / "vxcfg", *words, "--help")
    below = re.findall(r"^  (\w+)", text.partition("Subcommands:")[2], re.MULTILINE)
    check("completion of " + " ".join(words), completed("vxcfg", *words)[0] if below else [], below)
    for word in below:
        yield from commands(*words, word)
    if not re.search("^Usage:.* SUBCOMMAND", text, re.MULTILINE):
        yield " ".join(("vxcfg", *words)), text


def completed(program, *words):
    return [line.split() for line in printed("bash", "-c", COMPLETE, "bash", ROOT / "tools/vxcfg/completion/vxblade.bash",
                                             BIN / program, *words).split("\n")]


def of_vxcfg():
    text = (ROOT / "docs/man/vxcfg.1.scd").read_text()
    common, pages, programs = sections(text, "#")["OPTIONS"], sections(text, "##"), dict(commands())
    check("commands", sorted(pages), sorted(programs))
    check("options that no command has", set(OPTION.findall(common)) - set.union(*map(options_of, programs.values())),
          {"--help", "--version"})
    check("completion of keys", completed("vxcfg", "set")[0], printed(BIN / "vxcfg", "settings", "--keys").split())
    for command in pages.keys() & programs.keys():
        page, options = pages[command], options_of(programs[command])
        synopsis = re.sub("[*_]", "", page.strip().split("\n\n")[0])
        check(command + ", synopsis", set(OPTION.findall(synopsis)), options)
        check(command, set(OPTION.findall(page)) | options, options)
        explained = set(re.findall(r"^\*(--[a-z-]+)\*", common + page, re.MULTILINE))
        check(command + ", explained", explained & options, options)
        check("completion of " + command, set(completed(*command.split())[1]), options | {"--help"})
        arguments = re.search(r"^Usage: .*? \[OPTIONS\](.*?)( \[SUBCOMMAND\])?$", programs[command], re.MULTILINE)[1]
        if not synopsis.endswith(arguments):
            failures.append(f"{command}: not{arguments} but {synopsis}")


def of_other(page, program):
    parts, options = sections((ROOT / "docs/man" / page).read_text(), "#"), options_of(printed(BIN / program, "--help"))
    for name in "SYNOPSIS", "OPTIONS":
        check(f"{page} {name}", set(OPTION.findall(parts[name])), options | {"--help"})


def faults(page):
    """What the formatters that are there say of a built page."""
    for command in (["groff", "-man", "-Tutf8", "-ww", "-z"], ["mandoc", "-T", "lint", "-W", "warning"]):
        if not shutil.which(command[0]):
            print(f"SKIPPED: manuals_test: {command[0]} is not installed")
            continue
        for line in printed(*command, page).splitlines():
            if KNOWN not in line:
                failures.append(line)


of_vxcfg()
of_other("vxpvh.8.scd", "vxpvh")
of_other("bladesim.1.scd", "bladesim")
check("completion of bladesim", set(completed("bladesim")[1]),
      options_of(printed(BIN / "bladesim", "--help")) | {"--help"})
for built in BUILT:
    faults(built)
for document in [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")]:
    for target in re.findall(r"\]\(([^)#:]+)\)", document.read_text()):
        if not (document.parent / target).exists():
            failures.append(f"{document.relative_to(ROOT)}: no {target}")
print("\n".join(failures + [f"manuals_test: {len(BUILT)} built pages, {len(failures)} failed"]))
sys.exit(1 if failures else 0)
