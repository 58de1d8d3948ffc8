#!/usr/bin/env python3
"""A public header as Doxygen wants it: its plain comments document what follows them.

usage: comments.py HEADER
"""
import re
import sys


def body(comment, declaration=""):
    """The text without its frame. Indented names with their meanings are parameters, or else a list."""
    def entry(line):
        kind = r"@param \1 " if re.search(rf"\b{line[1]}\b", declaration) else r"- **\1** "
        return line.expand(kind)

    text = re.sub(r"^/\*+|\*/$", "", comment)
    lines = [re.sub(r"^\s*\* ?", "", line) for line in text.strip().split("\n")]
    text = re.sub(r"^(  .*\n)(?=\w)", r"\1\n", "\n".join(lines), flags=re.MULTILINE)  # the end of a list
    text = re.sub(r"^ {1,8}(\w+) {2,}", entry, text, flags=re.MULTILINE)
    text = re.sub(r"\n {4,}", "\n", text)
    return re.sub(r"<(?=[a-z])|#(?=\w)", r"\\\g<0>", text)


def documented(source):
    parts = re.split(r"(/\*.*?\*/)", source, flags=re.DOTALL)
    result = [parts[0]]
    for index in range(1, len(parts), 2):
        comment, after = parts[index], parts[index + 1]
        text = body(comment)
        if index == 1:
            result.append(f"/** @file\n{text} */")
        elif line := parts[index - 1].rpartition("\n")[2].strip():
            result.append("" if re.fullmatch(r"struct \w+;", line) else f"/**< {text} */")
        elif after.startswith("\n\n"):  # of no declaration: of the whole file, or a headline
            result.append(f"/** @file\n{text} */" if text.endswith(".") else "")
        else:  # of each declaration up to the next blank line
            group, blank, rest = after.partition("\n\n")
            after = "".join(f"/** {body(comment, declaration)} */\n{declaration}"
                            for declaration in re.split(r"(?<=;\n)(?=VXBLADE_API)", group[1:])) + blank + rest
        result.append(after)
    return "".join(result)


with open(sys.argv[1], encoding="utf-8") as header:
    print(documented(header.read()))
