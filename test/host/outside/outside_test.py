# SPDX-License-Identifier: MIT
"""host/run and host/fleet leave the machine unchanged. Run as root on the machine, not by host/run."""

import os
import pathlib
import select
import signal
import subprocess
import sys
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[3]
HOST_RUN = PROJECT / "host/run"
HOST_FLEET = PROJECT / "host/fleet"
HOST_PATHS = [pathlib.Path(path) for path in (
    "/etc/kvr", "/service", "/usr/local/kvr", "/var/lib/kvr", "/var/log/kvr", "/run/kvr",
    "/run/mysqld", "/run/mariadbd", "/var/lib/keldo-host-in-use", "/usr/lib/locale/de_DE")]
NO_HOST = 125
HANG_SECONDS = 60  # only a process that never ends takes that long
# Starts a daemon, makes files, prints "busy", and waits for the end of standard input.
BUSY = """
service-control start web >/dev/null && mkdir -p /etc/kvr /service &&
touch /etc/kvr/left /service/left /usr/local/kvr/left && echo busy && read -r _
"""


def host_run(*arguments, **options):
    return subprocess.run([HOST_RUN, *arguments], stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, **options)


def what_serves():
    return host_run("--bare", "sh", "-c", "echo $KELDO_HOST").stdout.strip()


def descendants(pid):
    """All descendants of `pid`, in any process namespace."""
    children = {}
    for entry in filter(str.isdecimal, os.listdir("/proc")):
        try:
            stat = pathlib.Path("/proc", entry, "stat").read_text()
        except (FileNotFoundError, ProcessLookupError):
            continue
        parent = int(stat.rpartition(")")[2].split()[1])
        children.setdefault(parent, []).append(int(entry))
    found = []
    to_visit = [pid]
    while to_visit:
        below = children.get(to_visit.pop(), [])
        found += below
        to_visit += below
    return found


def machine():
    """The state that must be the same before and after."""
    return {
        "mounts": pathlib.Path("/proc/self/mountinfo").read_text(),
        "network": sorted(os.listdir("/sys/class/net")),
        "paths": [path for path in HOST_PATHS if path.exists()],
        "build folder": sorted(os.listdir(PROJECT / "build/host")),
        "root directory": sorted(os.listdir("/")),
    }


class Command(unittest.TestCase):
    def test_exit_status_is_that_of_the_command(self):
        for status in (0, 1, 42, 255):
            with self.subTest(status):
                self.assertEqual(host_run("sh", "-c", f"exit {status}").returncode, status)

    def test_exit_status_shows_a_signal(self):
        result = host_run("sh", "-c", "kill -TERM $$")
        self.assertEqual(result.returncode, 128 + signal.SIGTERM)

    def test_exit_status_of_an_unknown_command_is_127(self):
        self.assertEqual(host_run("no-such-command").returncode, 127)

    def test_the_command_has_the_callers_streams(self):
        result = subprocess.run([HOST_RUN, "sh", "-c", "cat; echo error >&2"], input="text",
                                capture_output=True, text=True)
        self.assertEqual((result.stdout, result.stderr), ("text", "error\n"))

    def test_signals_that_the_caller_ignores_have_their_default_action(self):
        result = subprocess.run(["env", "--ignore-signal=HUP,INT,QUIT,TERM,USR1", HOST_RUN,
                                 "grep", "SigIgn", "/proc/self/status"], capture_output=True)
        self.assertEqual(result.stdout, b"SigIgn:\t0000000000000000\n")

    def test_arguments_arrive_unchanged(self):
        words = ["a b", "", "*", "'\"$x\\", "ü\n"]
        script = "import sys; print(sys.argv[1:])"
        result = host_run("python3", "-c", script, *words)
        self.assertEqual(result.stdout, f"{words}\n")

    def test_bare_host_has_no_panel(self):
        script = "ls -d /etc/kvr /service /usr/local/kvr 2>/dev/null"
        self.assertEqual(host_run("--bare", "sh", "-c", script).stdout, "")

    def test_without_a_command_it_prints_its_usage(self):
        result = host_run()
        self.assertEqual(result.returncode, NO_HOST)
        self.assertEqual(result.stderr, "host/run: usage: host/run [--bare] [--with NAME]"
                         " COMMAND [ARG...]\n")

    def test_a_fleet_with_a_wrong_number_of_hosts_prints_its_usage(self):
        for words in ([], ["--hosts"], ["--hosts", "0", "true"], ["--hosts", "51", "true"]):
            with self.subTest(words):
                result = subprocess.run([HOST_FLEET, *words], capture_output=True, text=True)
                self.assertEqual((result.returncode, result.stderr), (
                    NO_HOST, "host/fleet: usage: host/fleet [--hosts N] COMMAND [ARG...]\n"))

    def test_with_an_unknown_list_of_packages_it_prints_one_line(self):
        for words in (["--with", "nothing", "true"], ["--with"]):
            result = host_run(*words)
            self.assertEqual((result.returncode, result.stderr), (
                NO_HOST, "host/run: there is no list of packages -- packages-"
                f"{(words + [''])[1]}\n"))

    def test_the_first_layer_has_none_of_the_packages_of_another_list(self):
        layer = PROJECT / "build/host/layer/usr/bin"
        if what_serves() != "namespaces":
            self.skipTest("a container keeps all packages")
        self.assertTrue((layer.parent / "sbin/nginx").exists())
        for name in ("prometheus", "sudo"):
            self.assertFalse((layer / name).exists())

    def test_without_root_it_prints_one_line(self):
        # Another user, who may read the project's folder.
        other = ["setpriv", "--reuid=65534", "--inh-caps=+dac_override",
                 "--ambient-caps=+dac_override"]
        result = subprocess.run([*other, HOST_RUN, "true"], capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stderr), (NO_HOST, "host/run: needs root\n"))

    def test_without_a_build_it_prints_one_line(self):
        result = host_run("true", env={**os.environ, "KELDO_BUILD": "/nowhere"})
        self.assertEqual((result.returncode, result.stderr),
                         (NO_HOST, "host/run: nothing is built in /nowhere\n"))


class Machine(unittest.TestCase):
    def setUp(self):
        self.before = machine()

    def start_busy(self, program=HOST_RUN, script=BUSY):
        """Starts a busy host in a new process group, like a job of a terminal."""
        run = subprocess.Popen([program, "sh", "-c", script], stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, start_new_session=True)
        self.addCleanup(run.stdin.close)
        self.addCleanup(run.stdout.close)
        self.assertEqual(run.stdout.readline(), b"busy\n")
        self.processes = [os.pidfd_open(pid) for pid in descendants(run.pid)]
        for process in self.processes:
            self.addCleanup(os.close, process)
        return run

    def assert_nothing_is_left(self):
        for process in self.processes:
            self.assertTrue(select.select([process], [], [], HANG_SECONDS)[0], "a process is left")
        self.assertEqual(machine(), self.before)

    def test_nothing_is_left_by_a_successful_command(self):
        run = self.start_busy()
        run.stdin.write(b"\n")
        run.stdin.flush()
        self.assertEqual(run.wait(), 0)
        self.assert_nothing_is_left()

    def test_nothing_is_left_by_a_failed_command(self):
        run = self.start_busy()
        run.stdin.close()
        self.assertEqual(run.wait(), 1)
        self.assert_nothing_is_left()

    def test_nothing_is_left_by_a_signal(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number.name):
                run = self.start_busy()
                run.send_signal(number)
                self.assertEqual(run.wait(), 128 + number)
                self.assert_nothing_is_left()

    def test_nothing_is_left_by_control_c(self):
        run = self.start_busy()
        os.killpg(run.pid, signal.SIGINT)
        self.assertEqual(run.wait(), 128 + signal.SIGINT)
        self.assert_nothing_is_left()

    def test_nothing_is_left_by_a_kill(self):
        for program, script in ((HOST_RUN, BUSY), (HOST_FLEET, "echo busy && read -r _")):
            with self.subTest(program.name):
                run = self.start_busy(program, script)
                run.kill()
                run.wait()
                self.assert_nothing_is_left()

    def test_hosts_do_not_see_each_other(self):
        if what_serves() == "container":
            return self.assert_one_waits_for_the_other()
        first = self.start_busy()
        self.addCleanup(first.wait)
        script = "test ! -e /etc/kvr/left && service-control start web"
        self.assertEqual(host_run("sh", "-c", script).returncode, 0)
        first.stdin.close()

    def assert_one_waits_for_the_other(self):
        first = self.start_busy()
        second = subprocess.Popen([HOST_RUN, "test", "!", "-e", "/etc/kvr/left"])
        first.stdin.close()
        first.wait()
        self.assertEqual(second.wait(), 0)


class ContainerAsHost(unittest.TestCase):
    """A private host that may not mount stands for the container."""

    # Uses a copy of the project, since its layer is in use, and removes the host's own database.
    IN_NAMESPACES = """
        export project=/tmp/project
        mkdir $project && cp -r host $project/ && rm -rf /var/lib/kvr /var/log/kvr
        unset KELDO_HOST
        container_run() {
            setpriv --bounding-set=-sys_admin --inh-caps=-sys_admin $project/host/run "$@"
        }
        """
    IN_CONTAINER = """
        export project=$PWD
        container_run() { $project/host/run "$@"; }
        """

    def in_container(self, script):
        """Runs a shell script in which `container_run` runs host/run in the container."""
        build = os.environ.get("KELDO_BUILD", str(PROJECT / "build/release"))
        if what_serves() == "container":
            command = ["bash", "-c", self.IN_CONTAINER + script]
        else:
            command = [HOST_RUN, "--bare", "bash", "-c", self.IN_NAMESPACES + script]
        return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              cwd=PROJECT, env={**os.environ, "KELDO_BUILD": build})

    def test_services_run_and_only_packages_are_left(self):
        result = self.in_container(f"""
            container_run sh -c 'service-control start-all >&2 && echo $KELDO_HOST; exit 3'
            echo $?
            ls -d {" ".join(map(str, HOST_PATHS[:-1]))} 2>/dev/null
            cat /proc/[0-9]*/comm | grep -E 'nginx|mariadbd|master|nsd|dovecot|redis|keeper'
            """)
        self.assertEqual(result.stdout, "container\n3\n", result.stderr)

    def test_a_path_in_use_is_left_alone(self):
        result = self.in_container("""
            mkdir /service; touch /service/mine
            container_run true; echo $?
            rm /service/mine && rmdir /service
            """)
        self.assertEqual((result.stdout, result.stderr), (
            f"{NO_HOST}\n", "host/run: this container cannot be the host: /service is in use\n"))

    def test_a_copied_project_does_not_claim_files_of_this_container(self):
        # Copies the project's folder while it is in use, without the layer.
        result = self.in_container("""
            original=$project copy=$(mktemp -d)
            container_run bash -c 'cp -r "$1/host" "$2/" && mkdir -p "$2/build/host" &&
                find "$1/build/host" -maxdepth 1 -type f -exec cp -t "$2/build/host" {} +' \
                bash "$original" "$copy"
            mkdir /service; touch /service/mine
            project=$copy; container_run true; echo $?
            rm /service/mine && rmdir /service; rm -rf "$copy"
            """)
        self.assertEqual((result.stdout, result.stderr.splitlines()[-1:]), (f"{NO_HOST}\n", [
            "host/run: this container cannot be the host: /service is in use"]))

    def test_the_next_command_removes_files_of_a_killed_one(self):
        result = self.in_container("""
            ready=$(mktemp -u); mkfifo "$ready"
            set -m # a process group of its own
            container_run sh -c 'echo >"$1"; exec sleep infinity' sh "$ready" &
            set +m
            read -r _ <"$ready"; rm "$ready"
            kill -KILL -$!; wait $! 2>/dev/null
            ls -d /etc/kvr /service
            container_run true; echo $?
            ls -d /etc/kvr /service 2>/dev/null
            """)
        self.assertEqual(result.stdout, "/etc/kvr\n/service\n0\n", result.stderr)

    def test_a_port_in_use_is_refused(self):
        result = self.in_container("""
            python3 -c '
import socket, subprocess, sys
with socket.create_server(("127.0.0.1", 25)):
    subprocess.run(sys.argv[1:])
' bash -c "$(declare -f container_run); container_run true; echo \\$?"
            """)
        self.assertEqual((result.stdout, result.stderr), (
            f"{NO_HOST}\n", "host/run: this container cannot be the host: port 25 is in use\n"))

    def test_no_host_is_made_on_a_host(self):
        result = self.in_container("container_run host/run true; echo $?")
        self.assertEqual(result.stdout, f"{NO_HOST}\n")
        self.assertIn("host/run: this is a host already\n", result.stderr)


if __name__ == "__main__":
    sys.exit(unittest.main())
