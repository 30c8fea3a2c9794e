# SPDX-License-Identifier: MIT
"""keldoctl-inspect and keldoctl with the real monit, and two alternatives that an administrator
could use."""

import statistics

import memory
from panel import PROJECT
from rounds import Command, alternate, run_once
from table import Kibibytes, Milliseconds, alone, compared, timed

MONIT = "/usr/bin/monit"
ADAPTER = PROJECT / "build/release/libexec/monit-check-status"
PLUGINS = PROJECT / "build/bench/plugins/usr/lib/nagios/plugins"
CALL_TARGET = 12  # milliseconds
INSPECT, MONIT_NAME, LOOP_NAME = "keldoctl-inspect", "monit validate", "loop of plugins"
MOST_HANGING = 10
ONE_HANGING = "1 hangs"
# For keldoctl-inspect: ratios by the number of services and what is beside it.
TARGETS = {(60, MONIT_NAME): 3, (600, MONIT_NAME): 3, (60, LOOP_NAME): 0.1,
           (6, ONE_HANGING): 2, (60, ONE_HANGING): 2, (600, ONE_HANGING): 2}
MEMORY_TARGET = 16 * 1024  # KiB


def adapter_rows(server, rounds):
    """One call of monit-check-status."""
    control = server.write_control_file(["web"])
    [taken] = alternate([Command([str(ADAPTER), "-c", control, "-x", "check-status"])], rounds)
    return [alone(f"One service asked of monit, {kind}", Milliseconds(statistics.median(times)),
                  rounds, CALL_TARGET)
            for kind, times in (("wall", taken.wall), ("CPU", taken.cpu))]


def inspection_rows(server, rounds, hanging):
    """keldoctl-inspect with the real monit, beside keldoctl and the alternatives. `rounds` maps
    numbers of services to numbers of rounds. `hanging` has the numbers of services that are also
    measured while some of them hang. That is measured once, since it takes minutes: all programs but
    keldoctl-inspect wait for one service after another."""
    server.set_monitor(ADAPTER)
    rows = []
    for count, number in rounds.items():
        services = server.start_services(count)
        for down in ((), services[1:2]):
            with server.breaking(down=down):
                ways = _ways(server, services, int(bool(down)))
                times = alternate(ways.values(), number)
            rows += [timed(_what(count, ", 1 down" if down else ""), times[0].wall, other.wall,
                           name, TARGETS.get((count, name)))
                     for name, other in list(zip(ways, times))[1:]]
        if count in hanging:
            rows += _hanging_rows(server, services)
    return rows


def memory_row(server, count, runs):
    """The peak memory of keldoctl-inspect itself with the real monit."""
    server.set_monitor(ADAPTER)
    server.start_services(count)
    peak = statistics.median(memory.peak(server.peak_memory, [server.inspect])
                             for _ in range(runs))
    return alone(f"Peak memory, {INSPECT}, {count} services", Kibibytes(peak), runs, MEMORY_TARGET)


def _hanging_rows(server, services):
    """The first services hang, so that those behind them wait the longest."""
    count, many = len(services), services[1:1 + MOST_HANGING]
    with server.breaking(hanging=many[:1]):
        times = {ONE_HANGING: run_once(_ways(server, services, 1)[INSPECT])}
    with server.breaking(hanging=many):
        times |= {name: run_once(way) for name, way in _ways(server, services, 1).items()}
    own = Milliseconds(times.pop(INSPECT).wall)
    return [compared(_what(count, f", {len(many)} hang"), own, Milliseconds(other.wall), name,
                     TARGETS.get((count, name)))
            for name, other in times.items()]


def _what(count, more):
    return f"{INSPECT}, {count} services{more}, wall"


def _ways(server, services, status):
    """The commands by their names, keldoctl-inspect first. `status` is 1 if a service is down."""
    return {INSPECT: Command([server.inspect], status),
            "keldoctl --status": Command([server.keldoctl, "--status"]),
            MONIT_NAME: _validate(server, services),
            LOOP_NAME: _loop(server, services, status)}


def _validate(server, services):
    """One monit that checks all services. Its exit status is always 1."""
    files = server.panel.root / "tmp/monit-"
    settings = "".join(f"set {file}file {files}{file}\n" for file in ("pid", "id", "state"))
    control = server.write_control_file(services, settings)
    return Command([MONIT, "-c", control, "validate"], status=1)


def _loop(server, services, status):
    return Command([str(PROJECT / "bench/plugin_loop"), str(PLUGINS), server.PROCESS,
                    *("/".join(filter(None, map(str, server.port(service))))
                      for service in services)], status)
