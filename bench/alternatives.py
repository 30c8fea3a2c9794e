# SPDX-License-Identifier: MIT
"""keldoctl with the real monit, and two alternatives that an administrator could use."""

import statistics

from panel import PROJECT
from rounds import Command, alternate
from table import Milliseconds, alone, timed

MONIT = "/usr/bin/monit"
ADAPTER = PROJECT / "build/release/libexec/monit-check-status"
PLUGINS = PROJECT / "build/bench/plugins/usr/lib/nagios/plugins"
CALL_TARGET = 12  # milliseconds


def adapter_rows(server, rounds):
    """One call of monit-check-status."""
    control = server.write_control_file(["web"])
    [taken] = alternate([Command([str(ADAPTER), "-c", control, "-x", "check-status"])], rounds)
    return [alone(f"One service asked of monit, {kind}", Milliseconds(statistics.median(times)),
                  rounds, CALL_TARGET)
            for kind, times in (("wall", taken.wall), ("CPU", taken.cpu))]


def status_rows(server, rounds):
    """--status with the real monit. `rounds` maps numbers of services to numbers of rounds."""
    server.set_monitor(ADAPTER)
    rows = []
    for count, number in rounds.items():
        services = server.start_services(count)
        own, monit, loop = alternate([Command([server.keldoctl, "--status"]),
                                      _validate(server, services), _loop(server, services)],
                                     number)
        what = f"--status by monit, {count} services, wall"
        rows += [timed(what, own.wall, monit.wall, "monit validate"),
                 timed(what, own.wall, loop.wall, "loop of plugins")]
    return rows


def _validate(server, services):
    """One monit that checks all services. Its exit status is always 1."""
    files = server.panel.root / "tmp/monit-"
    settings = "".join(f"set {file}file {files}{file}\n" for file in ("pid", "id", "state"))
    control = server.write_control_file(services, settings)
    return Command([MONIT, "-c", control, "validate"], status=1)


def _loop(server, services):
    return Command([str(PROJECT / "bench/plugin_loop"), str(PLUGINS), server.PROCESS,
                    *(str(server.port(service)) for service in services)])
