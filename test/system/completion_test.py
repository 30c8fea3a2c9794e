# SPDX-License-Identifier: MIT
"""Completion of command lines, in real shells on real terminals."""

import contextlib
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from languages import listed_languages
from panel import CORE_SERVICES, KELDOCTL, PATH, SERVICES, Panel, require_private_host
from terminal import Shell

BUILD = KELDOCTL.parent
INSTALLED = pathlib.Path("/opt/keldo-completion")
BASH_FILES = INSTALLED / "share/bash-completion"
EMPTY_CATALOGUE = 'msgid ""\nmsgstr "Content-Type: text/plain; charset=UTF-8\\n"\n'
TAB = "\t"
ALL = "\x18a"  # inserts every candidate

BASH_START = f"""
PS1='{Shell.READY}'
print_line() {{
    printf '%s%s%s\\n' '{Shell.BEGIN}' "$READLINE_LINE" '{Shell.END}'
    READLINE_LINE= READLINE_POINT=0
}}
bind -x '"\\C-xb": print_line'
bind '"\\C-xa": insert-completions'
"""
ZSH_START = f"""
PS1='{Shell.READY}'
fpath=({INSTALLED}/share/zsh/site-functions $fpath)
autoload -Uz compinit && compinit -u -D
print-line() {{ zle -I; print -r -- "{Shell.BEGIN}$BUFFER{Shell.END}"; BUFFER= }}
zle -N print-line
bindkey '^Xb' print-line
insert-all() {{ _main_complete; compstate[insert]=all compstate[list]= }}
zle -C insert-all complete-word insert-all
bindkey '^Xa' insert-all
"""


@contextlib.contextmanager
def started(start, folder, *command, **environment):
    """A shell with that start-up file, in a folder of its own."""
    (folder / ".zshrc").write_text(start, encoding="utf-8")
    shell = Shell(command, {"PATH": PATH, "TERM": "dumb", "LC_ALL": "C.UTF-8",
                            "HOME": str(folder), "ZDOTDIR": str(folder)} | environment)
    try:
        yield shell
    finally:
        shell.close()


def bash(folder, start=""):
    """Bash that has read the completion file."""
    return started(f"{BASH_START}\n{start}\nsource {BASH_FILES}/completions/keldoctl\n",
                   folder, "/bin/bash", "--rcfile", f"{folder}/.zshrc", "-i")


def bash_of_few_borders(folder):
    """Bash that does not split words at colons and equals signs."""
    return bash(folder, "COMP_WORDBREAKS=${COMP_WORDBREAKS//[:=]/}")


def bash_with_package(folder):
    """Bash with the bash-completion package, which loads the files."""
    return started(f"{BASH_START}\nsource /usr/share/bash-completion/bash_completion\n", folder,
                   "/bin/bash", "--rcfile", f"{folder}/.zshrc", "-i",
                   BASH_COMPLETION_USER_DIR=str(BASH_FILES))


def zsh(folder):
    return started(ZSH_START, folder, "/bin/zsh", "-d", "-i")


def setUpModule():
    require_private_host()
    unittest.addModuleCleanup(shutil.rmtree, INSTALLED)
    subprocess.run(["cmake", "--install", BUILD, "--component", "completion",
                    "--prefix", INSTALLED], check=True, stdout=subprocess.DEVNULL)
    programs = INSTALLED / "libexec/keldoctl"
    programs.mkdir(parents=True)
    (programs / "panel-root").symlink_to(BUILD / "libexec/panel-root")


SHELLS = (bash, bash_of_few_borders, bash_with_package, zsh)


def arguments(name, line):
    """The arguments that keldoctl would get from a line in that shell."""
    command = ["/bin/zsh", "-f", "-i"] if name == "zsh" else ["/bin/bash", "--norc", "-i"]
    text = f"keldoctl() {{ printf '%s\\0' \"$@\"; }}\n{line}\n"
    done = subprocess.run(command, check=False, input=text.encode(), stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, env={"LC_ALL": "C.UTF-8"})
    return done.stdout.decode().split("\0")[:-1]


@contextlib.contextmanager
def started_shells():
    """One shell of each kind, with its name."""
    with contextlib.ExitStack() as stack:
        yield [(kind.__name__, stack.enter_context(kind(pathlib.Path(
            stack.enter_context(tempfile.TemporaryDirectory()))))) for kind in SHELLS]


class ShellsTest(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()

    def check(self, rows):
        """Types the first text of each row and expects the second."""
        with started_shells() as shells:
            for name, shell in shells:
                for keys, line in rows:
                    with self.subTest(name, keys=keys):
                        self.assertEqual(shell.line_after(keys), line)

    def check_candidates(self, keys, candidates):
        """Expects all candidates, without the part of the word before the cursor and without the
        "=" of an option, which zsh does not insert for several."""
        with started_shells() as shells:
            for name, shell in shells:
                with self.subTest(name):
                    line = shell.line_after(keys + ALL)
                    before, last = keys.rsplit(" ", 1)
                    self.assertTrue(line.startswith(before + " "), line)
                    border = last.rstrip("-")
                    words = [word.removeprefix(border).rstrip("=") for word in line[len(before):].split()]
                    self.assertEqual(sorted(words), sorted(candidates))


class CompletionTest(ShellsTest):
    def test_commands_are_completed(self):
        self.check([("keldoctl --s" + TAB, "keldoctl --status "),
                    ("keldoctl --r" + TAB, "keldoctl --repair "),
                    ("keldoctl --h" + TAB, "keldoctl --help "),
                    ("keldoctl -" + TAB, "keldoctl -"),
                    ("keldoctl x" + TAB, "keldoctl x")])
        self.check_candidates("keldoctl -", ["--status", "--repair", "--help", "-h"])

    def test_the_option_is_offered_only_after_the_command(self):
        for command in ("--status", "--repair", "--help", "-h"):
            self.check([(f"keldoctl {command} --l{TAB}", f"keldoctl {command} --language=")])
        self.check([("keldoctl --l" + TAB, "keldoctl --l"),
                    ("keldoctl --unknown --l" + TAB, "keldoctl --unknown --l"),
                    ("keldoctl --status x --l" + TAB, "keldoctl --status x --l"),
                    ("keldoctl --repair x --l" + TAB, "keldoctl --repair x --l"),
                    ("keldoctl --status --language=en-US --l" + TAB,
                     "keldoctl --status --language=en-US --l")])

    def test_only_repair_takes_ids(self):
        self.check([("keldoctl --status r" + TAB, "keldoctl --status r"),
                    ("keldoctl --help r" + TAB, "keldoctl --help r"),
                    ("keldoctl --repair r" + TAB, "keldoctl --repair restart-service:"),
                    ("keldoctl --repair restart-service:w" + TAB,
                     "keldoctl --repair restart-service:web "),
                    ("keldoctl --repair --language=de-DE restart-service:k" + TAB,
                     "keldoctl --repair --language=de-DE restart-service:keldo "),
                    ("keldoctl --repair x restart-service:k" + TAB,
                     "keldoctl --repair x restart-service:keldo ")])

    def test_ids_are_those_of_the_definitions(self):
        self.panel.write_service("redis")
        (SERVICES / "notes.txt").touch()
        self.check_candidates("keldoctl --repair restart-service:", [*CORE_SERVICES, "redis"])
        shutil.rmtree(SERVICES)
        self.check([("keldoctl --repair r" + TAB, "keldoctl --repair r")])

    def test_an_id_is_offered_once(self):
        self.panel.remove_definitions()
        for service in ("web", "dns"):
            self.panel.write_service(service)
        self.check([("keldoctl --repair restart-service:web r" + TAB,
                     "keldoctl --repair restart-service:web restart-service:dns ")])

    def test_languages_are_those_of_the_catalogues(self):
        languages = listed_languages()
        missing = languages.pop()
        for language in languages:
            self.panel.catalogue(EMPTY_CATALOGUE, language.catalogue)
        (self.panel.root / f"share/locale/{missing.catalogue}/LC_MESSAGES").mkdir(parents=True)
        self.check_candidates("keldoctl --status --language=",
                              ["en-US", *(language.code for language in languages)])

    def test_another_catalogue_counts_if_its_name_has_a_country(self):
        for locale in ("en_US", "sr_RS", "sv", "sr@latin", "nonsense", "*"):
            self.panel.catalogue(EMPTY_CATALOGUE, locale)
        self.check_candidates("keldoctl --status --language=", ["en-US", "sr-RS"])

    def test_a_partial_language_is_completed(self):
        for locale in ("de", "zh_CN", "zh_TW"):
            self.panel.catalogue(EMPTY_CATALOGUE, locale)
        self.check([("keldoctl --status --language=d" + TAB, "keldoctl --status --language=de-DE "),
                    ("keldoctl --repair --language=z" + TAB, "keldoctl --repair --language=zh-"),
                    ("keldoctl --status --language=x" + TAB, "keldoctl --status --language=x")])

    def test_the_catalogues_are_below_the_panels_root(self):
        panel = Panel("/usr/local/kvr/root")
        panel.catalogue(EMPTY_CATALOGUE)
        row = ("keldoctl --status --language=d" + TAB, "keldoctl --status --language=de-DE ")
        self.check([row])
        panel.configure("PRODUCT_ROOT_D /a\n PRODUCT_ROOT_D\t /usr/local/kvr/root\t# here\n"
                        "# PRODUCT_ROOT_D /b\nDUMP_D /c\nOLD_PRODUCT_ROOT_D /d\nPRODUCT_ROOT_D\n")
        self.check([row])
        panel.configure("PRODUCT_ROOT_D /a\nPRODUCT_ROOT_D /usr/local/kvr/root")  # no newline
        self.check([row])
        # An even number of blanks belongs to the value.
        shutil.copytree(panel.root, f"{panel.root}  ")
        panel.configure(f"PRODUCT_ROOT_D {panel.root}  # moved\n")
        shutil.rmtree(panel.root)
        self.check([row])
        panel.configure("")
        self.check([(row[0], row[0][:-1])])

    def test_without_a_configured_root_the_default_root_is_used(self):
        self.panel.configure("")
        self.panel.catalogue(EMPTY_CATALOGUE)
        self.check([("keldoctl --help --language=d" + TAB, "keldoctl --help --language=de-DE ")])

    def test_odd_ids_are_quoted(self):
        services = ["0a b", "1it's", '2a"b', "3a:b", "4$HOME", "5a\\b", "6a;b", "7a&b", "8[a]",
                    "9*", "Aä", "B-x", "C`a`", "Da=b", "E~", "F#", "G(a)", "H!x", "I<a>"]
        self.panel.remove_definitions()
        for service in services:
            self.panel.write_definition(service, "")
        with started_shells() as shells:
            for name, shell in shells:
                for quote in ("", "'", '"'):
                    for service in services:
                        with self.subTest(name, service=service, quote=quote):
                            line = shell.line_after(
                                f"keldoctl --repair {quote}restart-service:{service[0]}{TAB}")
                            self.assertEqual(arguments(name, line),
                                             ["--repair", f"restart-service:{service}"])

    def test_a_partial_quoted_id_is_completed(self):
        self.panel.remove_definitions()
        self.panel.write_definition("my web:server=1", "")
        whole = ["--repair", "restart-service:my web:server=1"]
        with started_shells() as shells:
            for name, shell in shells:
                for typed in ("restart-service:my\\ w", "'restart-service:my w",
                              '"restart-service:my w', "restart-service:my\\ web:s",
                              "'restart-service:my web:s", "restart-service:my\\ web:server=",
                              '"restart-service:my web:server=', "restart-service:my' w",
                              "'restart-service:my'\\ w", "re'start'-service:m"):
                    with self.subTest(name, typed=typed):
                        line = shell.line_after(f"keldoctl --repair {typed}{TAB}")
                        self.assertEqual(arguments(name, line), whole)

    def test_the_command_need_not_be_the_first_word(self):
        self.check([("LC_ALL=C keldoctl --s" + TAB, "LC_ALL=C keldoctl --status "),
                    ("true; keldoctl --s" + TAB, "true; keldoctl --status "),
                    ("/usr/sbin/keldoctl --s" + TAB, "/usr/sbin/keldoctl --status ")])

    def test_text_after_the_cursor_stays(self):
        left = "\x1b[D" * 5
        with started_shells() as shells:
            for name, shell in shells:
                with self.subTest(name):
                    self.assertEqual(shell.line_after(f"keldoctl --s --xy{left}{TAB}").split(),
                                     ["keldoctl", "--status", "--xy"])


class OtherProgramsTest(ShellsTest):
    """The programs besides keldoctl. They share keldoctl's languages and ids."""

    def setUp(self):
        super().setUp()
        self.panel.remove_definitions()
        for service in ("web", "dns"):
            self.panel.write_service(service)
        self.panel.catalogue(EMPTY_CATALOGUE)

    def check_words(self, program, rows):
        self.check([(f"{program} {typed}{TAB}", f"{program} {line}") for typed, line in rows])

    def test_words_of_keldoctl_inspect_are_completed(self):
        self.check_words("keldoctl-inspect", [
            ("--t", "--timeout="), ("--json --l", "--json --language="),
            ("--timeout=9 --t", "--timeout=9 --t"), ("--language=d", "--language=de-DE "),
            ("--r", "--repair "), ("--repair restart-service:w", "--repair restart-service:web "),
            ("--json --repair restart-service:web r",
             "--json --repair restart-service:web restart-service:dns "),
            ("--repair restart-service:web --l", "--repair restart-service:web --l"),
            ("restart", "restart"), ("--v", "--version ")])
        self.check_candidates("keldoctl-inspect --", [
            "--language", "--timeout", "--jobs", "--json", "--repair", "--version", "--help"])

    def test_words_of_keldoctl_report_are_completed(self):
        self.check_words("keldoctl-report", [
            ("--p", "--prometheus "), ("--json --h", "--json --h"), ("--q", "--quiet "),
            ("--language=d", "--language=de-DE "), ("--status --r", "--status --r"),
            ("--html --c", "--html --c"), ("--d", "--d"), ("a", "a"),
            ("--f", "--fragment "), ("--fragment --repair-", "--fragment --repair-url="),
            ("--repair a", "--repair all "), ("--repair all --d", "--repair all --dry-run "),
            ("--quiet --repair --dry-run restart-service:w",
             "--quiet --repair --dry-run restart-service:web "),
            ("--repair restart-service:web r",
             "--repair restart-service:web restart-service:dns ")])

    def test_words_of_check_keldoctl_are_completed(self):
        self.check_words("check_keldoctl", [
            ("-w ma", "-w major "), ("--warning=n", "--warning=none "),
            ("-c cr", "-c critical "), ("-w minor -c mi", "-w minor -c minor "),
            ("--critical=mi", "--critical=minor "), ("-l d", "-l de-DE "),
            ("--language=d", "--language=de-DE "), ("--t", "--timeout="), ("-t x", "-t x"),
            ("-w none --verb", "-w none --verbose ")])

    def test_words_of_keldoctl_gate_are_completed(self):
        self.check_words("keldoctl-gate", [
            ("i", "inspect "), ("inspect --l", "inspect --language="),
            ("inspect --language=d", "inspect --language=de-DE "), ("inspect r", "inspect r"),
            ("repair restart-service:w", "repair restart-service:web "),
            ("repair --language=de-DE restart-service:w",
             "repair --language=de-DE restart-service:web "),
            ("--v", "--version ")])

    def test_words_of_keldoctl_notify_are_completed(self):
        self.check_words("keldoctl-notify", [
            ("--p", "--programs="), ("--most=9 --p", "--most=9 --programs="),
            ("--most=9 --m", "--most=9 --m"), ("--v", "--version "), ("--most=9 --v", "--most=9 --v")])

    def test_words_of_monit_check_status_are_completed(self):
        self.check_words("monit-check-status", [
            ("--v", "--version "), ("--h", "--help "), ("-x c", "-x check-status "),
            ("-x check-status --v", "-x check-status --v")])


class FilesTest(unittest.TestCase):
    def check(self, program, rows):
        """Each row: the keys, and the line in bash and in zsh."""
        with started_shells() as shells, tempfile.TemporaryDirectory() as directory:
            for name in ("web.xml", "my web.xml", "notes.txt"):
                pathlib.Path(directory, name).touch()
            pathlib.Path(directory, "directory").mkdir()
            for name, shell in shells:
                shell.line_after(f"cd {directory}\n")
                for keys, *lines in rows:
                    with self.subTest(name, keys=keys):
                        self.assertEqual(shell.line_after(f"{program} {keys}{TAB}"),
                                         f"{program} {lines[-1 if name == 'zsh' else 0]}")

    def test_definitions_and_options_of_keldo_service_lint_are_completed(self):
        self.check("keldo-service-lint", [
            ("--s", "--show "), ("--h", "--help "), ("--v", "--version "), ("we", "web.xml "),
            ("dir", "directory/"), ("m", "my\\ web.xml "), ("my\\ w", "my\\ web.xml "),
            ('"my w', '"my web.xml" '), ("--show we", "--show web.xml "),
            # Without a definition, zsh offers other files.
            ("no", "no", "notes.txt ")])

    def test_the_control_file_of_monit_check_status_is_completed(self):
        self.check("monit-check-status", [("-c no", "-c notes.txt "), ("-b no", "-b no"),
                                          ("-x check-status -c m",
                                           "-x check-status -c my\\ web.xml ")])

    def test_the_reports_that_keldoctl_report_compares_are_completed(self):
        self.check("keldoctl-report", [
            ("--ch", "--changes "), ("--changes we", "--changes web.xml "),
            ("--changes web.xml no", "--changes web.xml notes.txt "),
            ("--changes --l", "--changes --language="), ("--changes --f", "--changes --flapping="),
            ("--status we", "--status we")])


if __name__ == "__main__":
    unittest.main()
