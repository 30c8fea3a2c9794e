# SPDX-License-Identifier: MIT
"""Prints the unittest cases of the given files, a line each, for CTest to register.

With --classes the lines are MODULE.CLASS, else MODULE.CLASS.METHOD. The files are parsed, not
imported: where they are listed, what they need to run may be missing.
"""

import ast
import pathlib
import sys


def test_methods(test_class):
    return [node.name for node in test_class.body
            if isinstance(node, ast.FunctionDef) and node.name.startswith("test")]


def cases(path, by_class):
    module = pathlib.Path(path).stem
    for test_class in ast.parse(pathlib.Path(path).read_text(encoding="utf-8")).body:
        if not isinstance(test_class, ast.ClassDef) or not test_methods(test_class):
            continue
        if by_class:
            yield f"{module}.{test_class.name}"
        else:
            for method in test_methods(test_class):
                yield f"{module}.{test_class.name}.{method}"


def main():
    by_class = "--classes" in sys.argv[1:2]
    for path in sys.argv[2 if by_class else 1:]:
        print("\n".join(cases(path, by_class)))


main()
