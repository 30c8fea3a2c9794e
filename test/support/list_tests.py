# SPDX-License-Identifier: MIT
"""Prints the unittest classes of the given files for CTest to register, one a line: MODULE.CLASS.

The files are parsed, not imported: the modules that they need may be missing when CMake runs.
"""

import ast
import pathlib
import sys
import warnings


def has_tests(test_class):
    return any(isinstance(node, ast.FunctionDef) and node.name.startswith("test")
               for node in test_class.body)


# A later Python refuses what this one only warns about, such as an invalid escape.
warnings.simplefilter("error")
for path in map(pathlib.Path, sys.argv[1:]):
    for node in ast.parse(path.read_text(encoding="utf-8")).body:
        if isinstance(node, ast.ClassDef) and has_tests(node):
            print(f"{path.stem}.{node.name}")
