# SPDX-License-Identifier: MIT
"""The collection by Ansible's own tools: ansible-lint, ansible-doc and ansible-test."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

import playbooks
from panel import BUILD

COLLECTION = "ansible_collections/keldo/keldoctl"
# The tests that need nothing from the network. A version of ansible-test may lack some of them. The
# stylesheets have the quotation marks of all languages, so no-smart-quotes is left out.
SANITY_TESTS = (
    "action-plugin-docs", "compile", "empty-init", "future-import-boilerplate",
    "line-endings", "metaclass-boilerplate", "no-assert", "no-basestring", "no-dict-iteritems",
    "no-dict-iterkeys", "no-dict-itervalues", "no-get-exception", "no-illegal-filenames",
    "no-main-display", "no-unicode-literals", "replace-urlopen", "shebang",
    "shellcheck", "symlinks", "use-argspec-type-path", "use-compat-six")

VALIDATOR = pathlib.Path("/usr/lib/python3/dist-packages/ansible_test/_util/controller/sanity",
                         "validate-modules/validate.py")
# The parser of markup that newer validators import. Debian has no package of it, so this one finds none.
MARKUP_PARSER = {
    "__init__.py": "",
    "dom.py": "OptionNamePart = PluginIdentifier = ReturnValuePart = lambda **_: None\n",
    "parser.py": "Context = lambda **_: None\nparse = lambda *_, **__: []\n",
}


class CollectionTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # The tools write into the collection.
        cls.root = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.collection = cls.root / COLLECTION
        shutil.copytree(BUILD / "fleet" / COLLECTION, cls.collection)
        cls.environment = playbooks.environment(cls.root) | {
            "ANSIBLE_COLLECTIONS_PATH": str(cls.root), "PYTHONDONTWRITEBYTECODE": "1"}

    def run_tool(self, *command, cwd=None, **environment):
        """Runs a program, which must succeed, in the collection. Returns its output."""
        done = subprocess.run(command, check=False, cwd=cwd or self.collection,
                              env=self.environment | environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.assertEqual(done.returncode, 0, done.stdout)
        return done.stdout

    def test_ansible_lint_finds_nothing(self):
        configuration = self.root / "ansible-lint.yml"
        configuration.write_text("profile: production\n", encoding="utf-8")
        if "ansible-lint 6." not in self.run_tool("ansible-lint", "--version"):
            # Newer versions reject Debian 12's Ansible without this setting. Version 6 does not know it.
            configuration.write_text('profile: production\nsupported_ansible_also: ["2.14."]\n',
                                     encoding="utf-8")
        output = self.run_tool("ansible-lint", "--offline", "--nocolor", "--config-file", configuration)
        self.assertRegex(output, r"(?m)^Passed.* 0 failure\(s\), 0 warning\(s\) (on|in) [2-9][0-9] files")

    def test_the_sanity_tests_pass(self):
        known = self.run_tool("ansible-test", "sanity", "--list-tests").split()
        tests = [word for name in SANITY_TESTS if name in known for word in ("--test", name)]
        self.run_tool("ansible-test", "sanity", "--color", "no", *tests)

    def test_the_documentation_of_the_modules_is_valid(self):
        # "ansible-test sanity" would fetch what its script needs.
        parser = self.root / "python/antsibull_docs_parser"
        parser.mkdir(parents=True)
        for name, text in MARKUP_PARSER.items():
            (parser / name).write_text(text, encoding="utf-8")
        modules = sorted(str(path.relative_to(self.root))
                         for path in (self.collection / "plugins/modules").iterdir())
        version = next(line.split()[1] for line in
                       (self.collection / "galaxy.yml").read_text("utf-8").splitlines()
                       if line.startswith("version:"))
        output = self.run_tool(
            "/usr/bin/python3", VALIDATOR, "--format", "plain", "--collection", COLLECTION,
            "--collection-version", version, *modules, cwd=self.root, PYTHONPATH=str(parser.parent))
        self.assertEqual(output, "")

    def test_the_unit_tests_pass(self):
        output = self.run_tool("ansible-test", "units", "--color", "no")
        self.assertRegex(output, r"(?m)^=+ [0-9]+ passed")

    def test_the_integration_test_passes(self):
        self.run_tool("ansible-test", "integration", "--color", "no")

    def test_ansible_doc_shows_each_plugin_and_role(self):
        for kind, name in (("module", "keldoctl_info"), ("module", "keldoctl_repair"),
                           ("callback", "fleet"), ("role", "host"), ("role", "report")):
            with self.subTest(name):
                output = self.run_tool("ansible-doc", "--type", kind, f"keldo.keldoctl.{name}")
                self.assertIn(f"keldo.keldoctl.{name}", output.lower())
                # Markup that this version of ansible-doc does not know.
                self.assertNotRegex(output, r"\b[A-Z]\(")


if __name__ == "__main__":
    unittest.main()
