#!/usr/bin/env python3
"""Fails, naming each one, on a relative link in the given Markdown files that leads nowhere.

    tools/check-links.py FILE.md...

A link is taken relative to the folder of the file it stands in; a fragment (#...) is ignored.
Links inside code blocks and code spans are not links. Addresses with a scheme (https:, mailto:)
are not checked.
"""
import os
import re
import sys

LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")
SCHEME = re.compile(r"^[a-zA-Z][a-zA-Z0-9+.-]*:")


def links(text):
    """(line number, target) of every link outside code."""
    fenced = False
    for number, line in enumerate(text.splitlines(), 1):
        if line.lstrip().startswith("```"):
            fenced = not fenced
            continue
        if fenced:
            continue
        prose = re.sub(r"`[^`]*`", "", line)
        for match in LINK.finditer(prose):
            yield number, match.group(1)


def broken(path):
    with open(path, encoding="utf-8") as f:
        text = f.read()
    folder = os.path.dirname(path)
    for number, target in links(text):
        if SCHEME.match(target) or target.startswith("#"):
            continue
        local = target.split("#", 1)[0]
        if not os.path.exists(os.path.join(folder, local)):
            yield f"{path}:{number}: '{target}' leads nowhere"


def main(paths):
    problems = [problem for path in paths for problem in broken(path)]
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
