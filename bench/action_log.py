# SPDX-License-Identifier: MIT
"""What reading the panel's action log takes, on a real database server: the statements that
keldoctl sends, their time and their plan, by the indexes that the tables have. Prints Markdown.

Usage: host/run --bare env PYTHONPATH=test/support python3 bench/action_log.py [ENTRIES [SECONDS]]

ENTRIES is the length of the log (a million); a statement that takes longer than SECONDS (60, as
long as keldoctl waits for an answer) is given up, which the client tells on standard error.
KELDOCTL names the program that is asked for its statements. A million entries take some minutes,
most of which are statements without indexes.
"""

import statistics
import subprocess
import sys
import time

from database import Database
from panel import Panel

SERVICES = 600  # that have an entry
KINDS = 100  # of actions
RUNS = 5  # of each statement, of which the median counts
BUFFER_POOL = "128M"  # the server's default; that of the private host is for small tables

# What the log is made of: its name, and one entry in how many starts or stops a service.
LOGS = (("one entry in a hundred is of a service", 100),
        ("every entry is of a service", 1))

# From the tables as they are (host/panel/schema.sql), whose foreign keys bring the indexes, to bare
# ones: what to name the state, and how it is reached from the one before.
INDEXES = (
    ("both", ""),
    ("log_components (action_id)",
     "ALTER TABLE log_actions DROP FOREIGN KEY log_actions_ibfk_1, DROP INDEX action_id;"),
    ("none",
     "ALTER TABLE log_components DROP FOREIGN KEY log_components_ibfk_1, DROP INDEX action_id;"),
)

# Entries in turn of all kinds or of starts and stops, these at random, of one service after
# another.
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
    """The statements on the action log that keldoctl sends: two that keep the ids of the actions,
    and the two that read the log."""
    database.sessions()
    Panel().run("--status")
    statements = [text for session in database.sessions() for text in session.statements()
                  if "action" in text]
    if len(statements) != 4:
        raise RuntimeError(f"these are not the four statements: {statements}")
    return statements[:2], statements[2:]


class Measurement:
    """One statement on the log, after those that it builds on."""

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
        """The server's plan, a list of the columns' texts for each table in it, by EXPLAIN or, with
        the numbers of rows that there really were, by ANALYZE, which runs the statement."""
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
        """What the client prints, or None where a statement took longer than the limit."""
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
        if median is None:  # keldoctl goes no further
            print(f"| {indexes} | more than {limit} s | not reached |", flush=True)
        else:
            print(f"| {indexes} | {duration(median)} | {duration(stopped.median())} |", flush=True)
        plans.append((indexes, started.plan("EXPLAIN" if median is None else "ANALYZE")))
    for indexes, plan in plans:
        print_plan(indexes, plan)


def print_plan(indexes, plan):
    """Prints the plan of the first of the two statements; they differ in a number only."""
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
