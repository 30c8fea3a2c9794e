# SPDX-License-Identifier: MIT
"""monit-check-status, run against the real stock monit.

Needs a host of its own: it starts a monit like the machine's own, and looks at the files in /run
and at every process.
"""

import collections
import contextlib
import itertools
import os
import pathlib
import pwd
import select
import shutil
import signal
import socket
import stat
import struct
import subprocess
import tempfile
import threading
import unittest
import xml.etree.ElementTree as ElementTree

from counting import uncounted
from subreaper import become_subreaper

PROJECT = pathlib.Path(__file__).resolve().parents[2]
ADAPTER = os.environ.get('MONIT_CHECK_STATUS',
                         str(PROJECT / 'build/release/libexec/monit-check-status'))
STOCK_MONIT = '/usr/bin/monit'
PREFIX = 'monit-check-status.'

# Seconds after which a test that waits fails.
PATIENCE = 120


def command(path, *more):
    return [ADAPTER, '-c', str(path), '-x', 'check-status', *more]


class Ended(subprocess.Popen):
    """A process that is terminated if the block that uses it fails."""

    def __exit__(self, failure, *more):
        if failure is not None:
            self.terminate()
        super().__exit__(failure, *more)


def start(path, *more, **options):
    options = {'stdout': subprocess.PIPE, 'stderr': subprocess.PIPE, **options}
    return Ended(command(path, *more), **options)


def run(path, *more, **options):
    return subprocess.run(command(path, *more), capture_output=True, timeout=PATIENCE, **options)


def statuses(document):
    """The (name, status) pairs in a document, in its order."""
    root = ElementTree.fromstring(document)
    assert root.tag == 'monit', root.tag
    return [(service.findtext('name'), service.findtext('status')) for service in root]


def batch(result):
    """The services of a batch document as dictionaries by the names of their elements, in its
    order. Ports and sockets are lists of their texts; words are a list of lines."""
    root = ElementTree.fromstring(result)
    assert root.attrib == {'batch': '1'}, root.attrib
    services = []
    for service in root:
        texts = {element.tag: element.text for element in service if len(element) == 0}
        texts['words'] = texts.get('words', '').splitlines()
        for tag in ('port', 'unix'):
            texts[tag] = [[part.text for part in result] for result in service.findall(tag)]
        services.append(texts)
    return services


def private_directories():
    return [os.path.join(base, name) for base in ('/run', '/tmp') for name in os.listdir(base)
            if name.startswith(PREFIX)]


def private_monits():
    """The ids of all processes that have a private directory in their command line."""
    found = []
    for pid in filter(str.isdigit, os.listdir('/proc')):
        try:
            if PREFIX.encode() in pathlib.Path('/proc', pid, 'cmdline').read_bytes():
                found.append(int(pid))
        except (FileNotFoundError, ProcessLookupError):
            pass
    return found


def system_calls(path, *more):
    """The system calls of a call after it has made its private directory: pairs of a name and the
    number of calls of that name so far."""
    result = subprocess.run(['strace', '-qq', *command(path, *more)], stdout=subprocess.DEVNULL,
                            stderr=subprocess.PIPE, text=True, timeout=PATIENCE)
    calls = []
    counts = collections.Counter()
    for line in result.stderr.splitlines():
        name = line.partition('(')[0]
        if name == 'exit_group' or '.gcda' in line:
            break  # it ends, or writes the counts of a coverage build
        if not name.isidentifier():
            continue  # a signal
        counts[name] += 1
        if calls or PREFIX in line:
            calls.append((name, counts[name]))
    return calls


def read_until_stopped(trace):
    """Reads a trace until it reports that the process has stopped."""
    for line in trace:
        if b'stopped by SIGSTOP' in line:
            return
    raise AssertionError('the process does not stop')


def children(pid):
    return [int(child) for child in
            pathlib.Path(f'/proc/{pid}/task/{pid}/children').read_text().split()]


def only_child(pid):
    child, = children(pid)
    return child


def wait_for_end(pidfd):
    """Returns once the process has ended, reaped or not."""
    poll = select.poll()
    poll.register(pidfd, select.POLLIN)
    assert poll.poll(PATIENCE * 1000), 'the process does not end'


class AdapterTest(unittest.TestCase):
    """Each test has a folder of its own. At its end, no call may have left anything behind."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.folder.chmod(0o755)
        self.addCleanup(shutil.rmtree, self.folder)
        self.addCleanup(self.assert_nothing_left)

    def assert_nothing_left(self):
        self.assertEqual(private_directories(), [])
        self.assertEqual(private_monits(), [])

    def control_file(self, text, name='control'):
        path = self.folder / name
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def pid_file(self, pid, name='pid'):
        path = self.folder / name
        path.write_text(f'{pid}\n')
        return path

    def check(self, text):
        """The statuses that a call reports for a control file with `text`."""
        result = run(self.control_file(text))
        self.assertEqual((result.returncode, result.stderr), (0, b''))
        return statuses(result.stdout)

    def process_check(self, name, *tests):
        """A block of a control file for this process, which is running."""
        lines = [f'check process {name}', f'with pidfile "{self.pid_file(os.getpid(), name)}"']
        return '\n\t'.join([*lines, *tests]) + '\n'

    def listener(self):
        """A listening socket on the loopback address, and its port."""
        server = socket.create_server(('127.0.0.1', 0))
        server.settimeout(PATIENCE)
        self.addCleanup(server.close)
        return server, server.getsockname()[1]


def host_check(name, *tests):
    return '\n\t'.join([f'check host {name}', 'with address 127.0.0.1', *tests]) + '\n'


def port_test(port, more=''):
    return f'if failed port {port}{more} then alert'


def free_port():
    with socket.create_server(('127.0.0.1', 0)) as server:
        return server.getsockname()[1]


class StatusTest(AdapterTest):
    def test_running_process_with_open_port_and_socket_is_0(self):
        _, port = self.listener()
        path = self.folder / 'socket'
        with socket.socket(socket.AF_UNIX) as server:
            server.bind(str(path))
            server.listen()
            text = self.process_check('web', f'if failed unixsocket {path} then alert',
                                      port_test(port))
            self.assertEqual(self.check(text), [('web', '0')])

    def test_missing_pid_file_is_512(self):
        self.assertEqual(self.check('check process web\n\twith pidfile "/run/missing"\n'),
                         [('web', '512')])

    def test_empty_pid_file_is_512(self):
        path = self.control_file('', 'pid')
        self.assertEqual(self.check(f'check process web\n\twith pidfile "{path}"\n'),
                         [('web', '512')])

    def test_pid_of_no_process_is_512(self):
        path = self.pid_file(int(pathlib.Path('/proc/sys/kernel/pid_max').read_text()) + 1)
        self.assertEqual(self.check(f'check process web\n\twith pidfile "{path}"\n'),
                         [('web', '512')])

    def test_zombie_is_2048(self):
        child = subprocess.Popen(['true'])
        os.waitid(os.P_PID, child.pid, os.WEXITED | os.WNOWAIT)
        path = self.pid_file(child.pid)
        self.assertEqual(self.check(f'check process web\n\twith pidfile "{path}"\n'),
                         [('web', '2048')])
        child.wait()

    def test_refused_port_is_32(self):
        for more in ('', ' protocol smtp', ' type TCPSSL ', ' type UDP '):
            with self.subTest(more=more):
                text = host_check('web', port_test(free_port(), more))
                self.assertEqual(self.check(text), [('web', '32')])

    def test_missing_unix_socket_is_32(self):
        text = self.process_check('web', 'if failed unixsocket /run/missing then alert')
        self.assertEqual(self.check(text), [('web', '32')])

    def test_wrong_protocol_is_32(self):
        server, port = self.listener()

        def answer():
            connection, _ = server.accept()
            with connection:
                connection.sendall(b'554 not today\r\n')

        thread = threading.Thread(target=answer, daemon=True)
        thread.start()
        self.assertEqual(self.check(host_check('mail', port_test(port, ' protocol smtp'))),
                         [('mail', '32')])
        thread.join()

    def test_services_come_in_the_order_of_the_file(self):
        names = [f'service{i}' for i in range(50, 0, -1)]
        text = ''.join(f'check process {name}\n\twith pidfile "/run/missing"\n' for name in names)
        self.assertEqual(self.check(text), [(name, '512') for name in names])

    def test_a_test_that_hangs_before_it_fails_is_waited_for(self):
        # Until the server hangs up, monit's own document says status 0 for this service.
        server, port = self.listener()
        path = self.control_file(host_check('web', port_test(port, ' protocol http')))
        with start(path) as call:
            connection, _ = server.accept()
            self.assertIsNone(call.poll())
            connection.close()
            output, errors = call.communicate(timeout=PATIENCE)
        self.assertEqual((statuses(output), errors), ([('web', '32')], b''))


class HangingTest(AdapterTest):
    """Calls that take seconds. They run at the same time."""

    def dripping_port(self):
        """The port of a server that sends a line without an end. Monit waits up to five seconds for
        each piece of the line."""
        server, port = self.listener()
        over = threading.Event()

        def drip():
            connection, _ = server.accept()
            with connection:
                while not over.wait(1):
                    try:
                        connection.send(b'2')
                    except OSError:
                        return

        thread = threading.Thread(target=drip, daemon=True)
        thread.start()
        self.addCleanup(thread.join, PATIENCE)
        self.addCleanup(over.set)
        return port

    def test_a_hanging_test_ends_at_its_timeout_or_at_the_deadline(self):
        _, silent_port = self.listener()
        fifo = self.folder / 'fifo'
        os.mkfifo(fifo)
        texts = {
            'time-out': host_check('a', port_test(silent_port, ' protocol http')) +
            host_check('b', port_test(free_port())) + self.process_check('c'),
            'limit': self.process_check('a') + host_check('b', port_test(free_port())) +
            host_check('c', port_test(silent_port, ' protocol http')) + self.process_check('d'),
            'deadline': self.process_check('a') +
            host_check('b', port_test(self.dripping_port(), ' protocol smtp')) +
            self.process_check('c'),
            'no answer': f'include {fifo}\nCHECK PROCESS a WITH PIDFILE "/run/missing"\n'
                         "check host 'b c' with address 127.0.0.1 # check host d\n"
        }
        texts['batch'] = texts['time-out']
        more = {'limit': ('-b', '2'), 'batch': ('-b', '60')}
        calls = {name: start(self.control_file(text, name), *more.get(name, ()))
                 for name, text in texts.items()}
        for call in calls.values():
            self.addCleanup(call.terminate)
        results = {name: call.communicate(timeout=PATIENCE) for name, call in calls.items()}
        for name, expected in {
                'time-out': [('a', '32'), ('b', '32'), ('c', '0')],
                'deadline': [('a', '0'), ('b', '1'), ('c', '1')],
                'no answer': [('a', '1'), ('b c', '1')]}.items():
            with self.subTest(name):
                output, errors = results[name]
                self.assertEqual((statuses(output), errors), (expected, b''))
                self.assertEqual(calls[name].returncode, 0)
        self.assertEqual([(service['name'], service['status'], service['monitor'],
                           service['checked']) for service in batch(results['limit'][0])],
                         [('a', '0', '1', '1'), ('b', '32', '1', '1'), ('c', '1', '2', '0'),
                          ('d', '1', '2', '0')])
        found = batch(results['batch'][0])
        self.assertEqual([service['status'] for service in found], ['32', '32', '0'])
        hanging, *others = [float(service['seconds']) for service in found]
        self.assertGreater(hanging, 4.9)
        self.assertLess(max(others), hanging)


class BatchTest(AdapterTest):
    def batch(self, text, seconds='60'):
        result = run(self.control_file(text), '-b', seconds)
        self.assertEqual((result.returncode, result.stderr), (0, b''))
        return result.stdout

    def test_all_services_are_unchecked_if_monit_has_not_answered_at_the_limit(self):
        fifo = self.folder / 'fifo'
        os.mkfifo(fifo)
        found = batch(self.batch(f'include {fifo}\n{ControlFileTest.TEXT}check host dns\n', '0.01'))
        self.assertEqual(found, [{'name': name, 'status': '1', 'monitor': '2', 'checked': '0',
                                  'seconds': '0.000', 'port': [], 'unix': [], 'words': []}
                                 for name in ('web', 'dns')])

    def test_reason_is_in_the_results_and_words_of_the_service_that_is_down(self):
        _, port = self.listener()
        closed = free_port()
        up, down = batch(self.batch(
            self.process_check('up', port_test(port)) +
            self.process_check('down', port_test(closed), port_test(port),
                               'if failed unixsocket /run/<missing>&</path> then alert')))
        self.assertEqual((up['status'], up['checked'], up['words']), ('0', '1', []))
        (number, time), = up['port']
        self.assertEqual(number, str(port))
        self.assertGreater(float(time), 0)
        self.assertEqual((down['status'], down['checked']), ('32', '1'))
        self.assertEqual({number: float(time) > 0 for number, time in down['port']},
                         {str(port): True, str(closed): False})
        self.assertEqual(down['unix'], [['/run/<missing>&</path>', '-1.000000']])
        self.assertEqual(len(down['words']), 2)
        for line in down['words']:
            self.assertRegex(line, "^'down' failed protocol test")

    def test_refused_file_is_an_answer_with_monits_words(self):
        path = self.control_file('check blah host\n')
        result = run(path, '-b', '60')
        root = ElementTree.fromstring(result.stdout)
        self.assertEqual((result.returncode, result.stderr, root.attrib),
                         (0, b'', {'batch': '1', 'refused': '1'}))
        words, = root
        # Monit 6 adds a line that says that it ends.
        self.assertEqual((words.tag, words.text.splitlines()[0]),
                         ('words', f"{path}:1: syntax error 'host'"))


class NameTest(AdapterTest):
    def test_names_are_printed_unchanged(self):
        names = ['w&b', 'a<b>c', 'a]]>b', 'a</name><status>0', 'Größe', '日本', '😀', 'a=b', 'a#b',
                 'a\\b', 'if', 'check', 'x' * 2000]
        text = ''.join(f'check process {name}\n\twith pidfile "/run/missing"\n' for name in names)
        self.assertEqual(self.check(text), [(name, '512') for name in names])

    def test_service_named_like_the_host_is_a_service(self):
        name = socket.gethostname()
        self.assertEqual(self.check(f'check process {name}\n\twith pidfile "/run/missing"\n'),
                         [(name, '512')])

    def test_odd_unix_socket_path_does_not_spoil_the_document(self):
        text = self.process_check('web', 'if failed unixsocket /run/<&</monit> then alert')
        self.assertEqual(self.check(text), [('web', '32')])


class ControlFileTest(AdapterTest):
    TEXT = 'check process web\n\twith pidfile "/run/missing"\n'

    def test_refused_file_gives_monits_words_and_no_document(self):
        rows = {'check blah host\n': "{}:1: syntax error 'host'",
                'check process web\n\twith pidfile "/a"b"\n': "{}:2: syntax error 'b'",
                'check process web\n\twith pidfile "/a\n': "{}:2: unbalanced quotes '\"'",
                host_check('web', port_test(1, ' protocol x')): "{}:3: syntax error 'x'",
                2 * self.TEXT:
                "{}:4: Service name conflict, web already defined '\"/run/missing\"'"}
        for text, words in rows.items():
            with self.subTest(text=text):
                path = self.control_file(text)
                result = run(path)
                lines = result.stderr.decode().splitlines()
                self.assertEqual((result.returncode, result.stdout), (1, b''))
                self.assertIn(words.format(path), lines)
                self.assertEqual(lines[-1], 'monit-check-status: the monitor ended before it had'
                                            f' checked -- {path}')
                self.assertNotIn(PREFIX.encode(), result.stderr)

    def test_mode_and_path_of_the_file_do_not_matter(self):
        path = self.control_file(self.TEXT + '# no end of line', name='a "b" *[c]\'\n{d}')
        for mode in (0o400, 0o666):
            path.chmod(mode)
            self.assertEqual(statuses(run(path).stdout), [('web', '512')])

    def test_works_under_the_name_monit_and_first_in_the_path(self):
        shutil.copy(ADAPTER, self.folder / 'monit')
        result = subprocess.run(['monit', '-c', self.control_file(self.TEXT), '-x',
                                 'check-status'], capture_output=True, timeout=PATIENCE,
                                env={**os.environ, 'PATH': f'{self.folder}:{os.environ["PATH"]}'})
        self.assertEqual((result.returncode, statuses(result.stdout)), (0, [('web', '512')]))

    def test_works_for_a_user_who_may_not_write_to_run(self):
        nobody = pwd.getpwnam('nobody')
        shutil.copy(ADAPTER, self.folder / 'adapter')
        result = subprocess.run([self.folder / 'adapter', '-c', self.control_file(self.TEXT), '-x',
                                 'check-status'], capture_output=True, timeout=PATIENCE,
                                user=nobody.pw_uid, group=nobody.pw_gid, extra_groups=[])
        self.assertEqual((result.returncode, statuses(result.stdout)), (0, [('web', '512')]))


class StandardDescriptorTest(AdapterTest):
    TEXT = ControlFileTest.TEXT

    def test_only_a_closed_standard_output_is_a_failure(self):
        path = self.control_file(self.TEXT)
        for closed, status in (('<&-', 0), ('2>&-', 0), ('<&- 2>&-', 0), ('>&-', 1),
                               ('<&- >&- 2>&-', 1)):
            with self.subTest(closed=closed):
                result = subprocess.run(['sh', '-c', f'exec "$@" {closed}', 'sh', *command(path)],
                                        capture_output=True, timeout=PATIENCE)
                self.assertEqual(result.returncode, status)
                if status == 0:
                    self.assertEqual(statuses(result.stdout), [('web', '512')])
                else:
                    self.assertEqual(result.stdout, b'')

    def test_broken_pipe_leaves_nothing(self):
        reader, writer = os.pipe()
        os.close(reader)
        with start(self.control_file(self.TEXT), stdout=writer) as call:
            os.close(writer)
            call.communicate(timeout=PATIENCE)
        self.assertEqual(call.returncode, -signal.SIGPIPE)


class HangingCall:
    """A call whose monit waits in the middle of a test until the end of the block."""

    def __init__(self, test, name='web', **options):
        path = test.folder / f'{name}.socket'
        self.server = socket.socket(socket.AF_UNIX)
        self.server.bind(str(path))
        self.server.listen()
        self.server.settimeout(PATIENCE)
        text = test.process_check(name, f'if failed unixsocket {path} protocol http then alert')
        self.call = start(test.control_file(text, f'{name}.control'), **options)
        self.connection, _ = self.server.accept()
        peer = self.connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED,
                                          struct.calcsize('3i'))
        self.monit = struct.unpack('3i', peer)[0]
        self.monit_end = os.pidfd_open(self.monit)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.call.terminate()
        self.call.communicate(timeout=PATIENCE)
        wait_for_end(self.monit_end)
        os.close(self.monit_end)
        self.connection.close()
        self.server.close()

    def hang_up(self):
        """Lets the test fail; returns what the call reports."""
        self.connection.close()
        output, _ = self.call.communicate(timeout=PATIENCE)
        return statuses(output)

    def of_monit(self, name):
        return pathlib.Path('/proc', str(self.monit), name)

    def directory(self):
        """Monit's private directory."""
        return pathlib.Path(self.of_monit('environ').read_text().rstrip('\0')
                            .removeprefix('HOME='))


class SurroundingsTest(AdapterTest):
    """The files and descriptors of the private monit while it works."""

    def test_its_files_are_in_its_directory(self):
        with HangingCall(self) as hanging:
            directory = hanging.directory()
            self.assertEqual(private_directories(), [str(directory)])
            self.assertEqual(stat.S_IMODE(directory.stat().st_mode), 0o700)
            # Monit may be at its first test before it has opened its socket.
            self.assertEqual({path.name for path in directory.iterdir()} | {'socket'},
                             {directory.name, 'monitrc', 'printed', 'pid', 'id', 'state',
                              'socket'})
            self.assertEqual(stat.S_IMODE((directory / 'monitrc').stat().st_mode), 0o600)
            self.assertEqual((directory / 'pid').read_text().strip(), str(hanging.monit))

    def test_it_inherits_no_descriptor_of_the_caller(self):
        # Monit itself would not close a descriptor with a high number.
        reader, writer = os.pipe()
        high = os.dup2(writer, 100)
        with HangingCall(self, stdin=reader, pass_fds=[writer, high]) as hanging:
            files = {}
            for path in hanging.of_monit('fd').iterdir():
                with contextlib.suppress(FileNotFoundError):  # monit may close what it opened itself
                    files[int(path.name)] = os.readlink(path)
            self.assertEqual([files[0], files[1], files[2]],
                             ['/dev/null'] + 2 * [f'{hanging.directory()}/printed'])
            self.assertEqual([file for file in files.values() if file.startswith('pipe:')], [])
        for descriptor in (reader, writer, high):
            os.close(descriptor)


class HostsMonitTest(AdapterTest):
    def test_the_machines_own_monit_is_neither_woken_nor_ended(self):
        home = self.folder / 'home'
        home.mkdir()
        control = self.control_file(f'set daemon 3600\nset idfile {home}/id\n'
                                    f'set statefile {home}/state\ncheck system its-host\n', 'host')
        control.chmod(0o600)
        trace = self.folder / 'trace'
        environment = {**os.environ, 'HOME': str(home)}
        # The trace shows every signal that it receives.
        with Ended(['strace', '-f', '-qq', '-e', 'trace=none', '-e', 'signal=all', '-o',
                               trace, STOCK_MONIT, '-I', '-c', control], env=environment,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT) as strace:
            for line in strace.stdout:
                if line.endswith(b'started\n'):
                    break
            pid_files = [path for path in (home / '.monit.pid', pathlib.Path('/run/monit.pid'))
                         if path.exists()]
            self.assertEqual(len(pid_files), 1, 'its pid files')
            pid = int(pid_files[0].read_text())
            end = os.pidfd_open(pid)
            before = pid_files[0].read_bytes()
            for text in (ControlFileTest.TEXT,
                         f'set pidfile {pid_files[0]}\nset daemon 1\n' + ControlFileTest.TEXT):
                result = run(self.control_file(text), env=environment)
                self.assertEqual(statuses(result.stdout), [('web', '512')])
            self.assertEqual(pid_files[0].read_bytes(), before)
            self.assertEqual(list(home.glob('.monit*')), [path for path in pid_files
                                                          if path.parent == home])
            self.assertFalse(select.select([end], [], [], 0)[0], 'ended')
            os.close(end)
            os.kill(pid, signal.SIGTERM)
            strace.communicate(timeout=PATIENCE)
        signals = [line.split()[2] for line in trace.read_text().splitlines() if '--- SIG' in line]
        self.assertEqual(signals, ['SIGTERM'])


class EndTest(AdapterTest):
    def test_a_signal_ends_it_and_leaves_nothing(self):
        for number in (signal.SIGTERM, signal.SIGALRM, signal.SIGIO, signal.SIGXFSZ,
                       signal.SIGRTMIN):
            with self.subTest(number), HangingCall(
                    self, f'web{int(number)}', restore_signals=True) as hanging:
                hanging.call.send_signal(number)
                output, errors = hanging.call.communicate(timeout=PATIENCE)
                self.assertEqual((hanging.call.returncode, output, errors), (-number, b'', b''))
                self.assertNotIn(hanging.monit, private_monits())
                self.assertEqual(private_directories(), [])

    def test_monit_dies_with_a_killed_call_and_the_next_call_cleans_up(self):
        with HangingCall(self) as hanging:
            directory = hanging.directory()
            hanging.call.kill()
            wait_for_end(hanging.monit_end)
            self.assertEqual(private_directories(), [str(directory)])
        self.assertEqual(self.check(ControlFileTest.TEXT), [('web', '512')])
        self.assertEqual(private_directories(), [])

    def test_a_call_killed_at_any_system_call_leaves_no_monit(self):
        # Processes that the call leaves become children of this process, which waits for them.
        become_subreaper()
        self.addCleanup(become_subreaper, False)
        path = self.control_file(ControlFileTest.TEXT)
        killed = 0
        for name, count in system_calls(path):
            with self.subTest(name, count=count):
                result = subprocess.run(
                    ['strace', '-qq', '-o', '/dev/null', '-e',
                     f'inject={name}:signal=KILL:when={count}', *command(path)],
                    capture_output=True, timeout=PATIENCE)
                killed += result.returncode == -signal.SIGKILL
                self.reap_orphans()
        self.assertEqual(private_monits(), [])
        self.assertGreater(killed, 50)
        self.check(ControlFileTest.TEXT)

    @uncounted
    def test_a_failed_system_call_gives_the_whole_document_or_none(self):
        become_subreaper()
        self.addCleanup(become_subreaper, False)
        path = self.control_file(ControlFileTest.TEXT)
        expected = [('web', '512', '1')]
        failures = 0
        for name, count in system_calls(path, '-b', '60'):
            with self.subTest(name, count=count):
                result = subprocess.run(
                    ['strace', '-qq', '-o', '/dev/null', '-e',
                     f'inject={name}:error=ENOMEM:when={count}', *command(path, '-b', '60')],
                    capture_output=True, timeout=PATIENCE)
                self.reap_orphans()
                if result.returncode == 0:
                    found = [(service['name'], service['status'], service['checked'])
                             for service in batch(result.stdout)]
                    self.assertEqual((found, result.stderr), (expected, b''))
                else:
                    failures += 1
                    self.assertEqual((result.returncode, result.stdout), (1, b''))
                    self.assertRegex(result.stderr, b'^monit-check-status: .*\n$')
                self.assertEqual(private_monits(), [])
                if name not in ('openat', 'getdents64', 'unlinkat', 'rmdir'):  # these remove it
                    self.assertEqual(private_directories(), [])
        self.assertGreater(failures, 10)
        self.check(ControlFileTest.TEXT)

    def test_a_child_whose_parent_died_first_does_not_become_monit(self):
        # strace stops parent and child at a call that the C library makes in each new process. The
        # child has not yet asked to be killed with its parent.
        path = self.control_file(ControlFileTest.TEXT)
        with Ended(['strace', '-f', '-qq', '-e', 'inject=set_robust_list:signal=STOP:when=1',
                    *command(path)], stdout=subprocess.PIPE, stderr=subprocess.PIPE) as strace:
            read_until_stopped(strace.stderr)
            call = only_child(strace.pid)
            os.kill(call, signal.SIGCONT)
            read_until_stopped(strace.stderr)
            child = only_child(call)
            end = os.pidfd_open(call)
            os.kill(call, signal.SIGKILL)
            wait_for_end(end)
            os.close(end)
            os.kill(child, signal.SIGCONT)
            output, trace = strace.communicate(timeout=PATIENCE)
        self.assertEqual(output, b'')
        self.assertNotIn(b'execve("/usr/bin/monit"', trace)
        self.check(ControlFileTest.TEXT)

    @staticmethod
    def reap_orphans():
        for pid in children(os.getpid()):
            end = os.pidfd_open(pid)
            wait_for_end(end)
            os.close(end)
            os.waitpid(pid, 0)


class SweepTest(AdapterTest):
    def test_directory_of_a_call_at_work_is_kept(self):
        with HangingCall(self) as hanging:
            self.check(ControlFileTest.TEXT)
            self.assertTrue((hanging.directory() / 'monitrc').exists())
            self.assertEqual(hanging.hang_up(), [('web', '32')])

    def test_a_call_whose_new_directory_is_swept_makes_another(self):
        # One call is stopped between making and locking its directory; another one sweeps it.
        path = self.control_file(ControlFileTest.TEXT)
        moments = list(itertools.takewhile(lambda moment: moment[0] != 'flock',
                                           system_calls(path)))
        self.assertGreater(len(moments), 1)
        for name, count in moments:
            with self.subTest(name), Ended(
                    ['strace', '-qq', '-e', f'inject={name}:signal=STOP:when={count}',
                     *command(path)], stdout=subprocess.PIPE, stderr=subprocess.PIPE) as strace:
                read_until_stopped(strace.stderr)
                newborn, = private_directories()
                self.check(ControlFileTest.TEXT)
                self.assertFalse(os.path.exists(newborn))
                os.kill(only_child(strace.pid), signal.SIGCONT)
                output, _ = strace.communicate(timeout=PATIENCE)
                self.assertEqual(statuses(output), [('web', '512')])

    def test_calls_side_by_side_do_not_disturb_each_other(self):
        path = self.control_file(ControlFileTest.TEXT)
        for _ in range(5):
            calls = [start(path) for _ in range(8)]
            for call in calls:
                output, errors = call.communicate(timeout=PATIENCE)
                self.assertEqual((statuses(output), errors), ([('web', '512')], b''))


if __name__ == '__main__':
    unittest.main()
