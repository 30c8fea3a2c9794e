# SPDX-License-Identifier: MIT
"""The manual pages of the build, for tests that compare them with the programs."""

import re
import subprocess

from panel import BUILD

TREE = BUILD / "share/man"
PAGES = sorted(path for path in TREE.glob("man*/*"))


def page(name):
    """The path of a page, such as "keldoctl.8"."""
    return TREE / f"man{name[-1]}" / name


def formatted(path):
    """A page as plain text, in lines of up to 200 columns."""
    done = subprocess.run(["mandoc", "-Tutf8", "-Owidth=200", path], check=True,
                          stdout=subprocess.PIPE)
    return re.sub(r".\x08", "", done.stdout.decode())


def section(name, title):
    """The formatted text of a page's section, without indentation."""
    found = re.search(rf"^{title}\n(.*?)^(?=\S)", formatted(page(name)), re.M | re.S)
    return re.sub(r"^ {5}", "", found[1], flags=re.M)


def source(name, title):
    """The lines of a section in the page's source."""
    lines = page(name).read_text(encoding="utf-8").splitlines()
    start = lines.index(f".Sh {title}") + 1
    end = next((i for i in range(start, len(lines)) if lines[i].startswith(".Sh ")), len(lines))
    return lines[start:end]


def displays(name, title):
    """The literal displays of a section, as texts."""
    texts = []
    for block in re.findall(r"^\.Bd -literal[^\n]*\n(.*?)^\.Ed$",
                            "\n".join(source(name, title)), re.M | re.S):
        for escape, character in (("\\\n", ""), (r"\e", "\\"), (r"\(Bq", "\u201e"),
                                  (r"\(lq", "\u201c")):
            block = block.replace(escape, character)
        texts.append(block)
    return texts


def shown_commands(name, title):
    """The commands of a section, marked by "# ", each with its output. An output line that begins
    with "# " has a \\& before it."""
    commands = []
    for text in displays(name, title):
        command, output = None, ""
        for line in text.splitlines(keepends=True):
            if line.startswith("# "):
                if command is not None:
                    commands.append((command, output))
                command, output = line[2:], ""
            elif line.startswith("> "):
                command += line[2:]
            else:
                output += line.removeprefix("\\&")
        if command is not None:
            commands.append((command, output))
    return commands
