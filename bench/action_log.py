# SPDX-License-Identifier: MIT
"""Measures how long it takes to read the panel's action log, on a real database server. Prints, as
Markdown, the time and the plan of the statements that keldoctl sends, for several sets of indexes.

Usage: host/run --bare env PYTHONPATH=test/support python3 bench/action_log.py [ENTRIES [SECONDS]]

ENTRIES is the length of the log, by default a million. A statement is given up after SECONDS, and
the client then prints a message on standard error; the default is 60, as long as keldoctl waits for
an answer. KELDOCTL names the program whose statements are measured. A million entries take some
minutes, mostly for the statements without indexes.
"""

import statistics
import subprocess
import sys
import time

from database import Database
from panel import Panel

SERVICES = 600  # with an entry in the log
KINDS = 100  # of actions
RUNS = 5  # of each statement; the result is their median
BUFFER_POOL = "128M"  # the server's default; the private host sets a smaller one

# Logs: a name, and N if one entry in N starts or stops a service.
LOGS = (("one entry in a hundred is of a service", 100),
        ("every entry is of a service", 1))

# The sets of indexes: a name, and the statement that makes this set from the set before. At first
# the tables have the indexes of their foreign keys (host/panel/schema.sql).
INDEXES = (
    ("both", ""),
    ("log_components (action_id)",
     "ALTER TABLE log_actions DROP FOREIGN KEY log_actions_ibfk_1, DROP INDEX action_id;"),
    ("none",
     "ALTER TABLE log_components DROP FOREIGN KEY log_components_ibfk_1, DROP INDEX action_id;"),
)

# One entry in {share} is a start or a stop, chosen by a hash, of one service after another. The others
# have the other kinds in turn.
FILL = """
USE kvr;
INSERT INTO actions (id, name) SELECT seq, CONCAT('action_', seq) FROM seq_3_to_{kinds};
INSERT INTO log_actions (id, action_id) SELECT seq,
    IF(seq % {share} = 0, 1 + CRC32(seq) % 2, 3 + seq % ({kinds} - 2)) FROM seq_1_to_{entries};
INSERT INTO log_components (action_id, component, old_value, new_value) SELECT seq, 'service',
    CONCAT('service', seq DIV {share} % {services}), CONCAT('service', seq DIV {share} % {services})
    FROM seq_1_to_{entries};
"""


def sent_statements(database):
    """The statements on the action log that keldoctl sends: the two that remember the ids of the
    actions, and the two that read the log."""
    database.sessions()
    Panel().run("--status")
    statements = [text for session in database.sessions() for text in session.statements()
                  if "action" in text]
    if len(statements) != 4:
        raise RuntimeError(f"these are not the four statements: {statements}")
    return statements[:2], statements[2:]


class Measurement:
    """One statement on the log, run after the statements that prepare it."""

    def __init__(self, database, preparation, statement, limit):
        self._database = database
        self._session = "USE kvr;\n" + "".join(text + ";\n" for text in preparation)
        self._statement = statement
        self._limit = limit

    def median(self):
        """The median time in seconds, or None for more than the limit."""
        times = []
        for _ in range(RUNS):
            seconds = self._time()
            if seconds is None:
                return None
            times.append(seconds)
        return statistics.median(times)

    def plan(self, how):
        """The server's plan: for each table a list of the columns' texts. `how` is EXPLAIN, or
        ANALYZE, which runs the statement and adds the numbers of rows that were read."""
        printed = self._run(f"SELECT 'PLAN';\n{how} {self._statement};\n")
        return [line.split("\t") for line in printed.rpartition("PLAN\n")[2].splitlines()]

    def _time(self):
        printed = self._run(f"SET profiling=1;\n{self._statement};\nSELECT 'PROFILES';\n"
                            "SHOW PROFILES;\n")
        if printed is None:
            return None
        profiles = printed.rpartition("PROFILES\n")[2]
        return next(float(line.split("\t")[1]) for line in profiles.splitlines()
                    if "GROUP BY" in line)

    def _run(self, statements):
        """The client's output, or None if a statement took longer than the limit."""
        started = time.monotonic()
        try:
            return self._database.sql(
                f"SET max_statement_time={self._limit};\n{self._session}{statements}")
        except subprocess.CalledProcessError:
            if time.monotonic() - started < self._limit:
                raise
            return None


def measure_log(database, name, share, entries, limit):
    """Prints a section: times and plans of the statements on one log."""
    print(f"\n### {entries:,} entries; {name}\n")
    database.reset()
    keeping, reading = sent_statements(database)
    database.sql(FILL.format(kinds=KINDS, share=share, entries=entries, services=SERVICES))
    print("| Indexes | Started services | Stopped services |\n|---|---|---|")
    plans = []
    for indexes, change in INDEXES:
        database.sql(f"USE kvr; {change} ANALYZE TABLE actions, log_actions, log_components;")
        started, stopped = (Measurement(database, keeping, text, limit) for text in reading)
        median = started.median()
        if median is None:  # keldoctl does not send the second statement
            print(f"| {indexes} | more than {limit} s | not reached |", flush=True)
        else:
            print(f"| {indexes} | {duration(median)} | {duration(stopped.median())} |", flush=True)
        plans.append((indexes, started.plan("EXPLAIN" if median is None else "ANALYZE")))
    for indexes, plan in plans:
        print_plan(indexes, plan)


def print_plan(indexes, plan):
    """Prints the plan of the first statement. The second differs from it only in a number."""
    print(f"\nPlan, indexes: {indexes}\n")
    heading = ["table", "type", "key", "rows expected", "rows read", "extra"]
    print("| " + " | ".join(heading) + " |\n" + "|---" * len(heading) + "|")
    for columns in plan:
        really = columns[9] if len(columns) > 10 else ""
        print(f"| {columns[2]} | {columns[3]} | {columns[5]} | {columns[8]} | {really}"
              f" | {columns[-1]} |")


def duration(seconds):
    return f"{seconds * 1000:.3g} ms" if seconds < 1 else f"{seconds:.3g} s"


def main(entries=1000000, limit=60):
    with Database(f"--innodb-buffer-pool-size={BUFFER_POOL}") as database:
        for name, share in LOGS:
            measure_log(database, name, share, int(entries), int(limit))


if __name__ == "__main__":
    main(*sys.argv[1:])
