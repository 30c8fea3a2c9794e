# SPDX-License-Identifier: MIT
"""The view for Prometheus."""

import datetime
import unittest

from made_inspections import inspection, service
from views import ViewTestCase, inspected

CORE = ("mysql", "keldo", "smtp", "web", "dns", "mail")
DEPENDENCIES = ("configuration", "definitions", "upgrade_tool", "database", "action_log",
                "control_files", "monitor")
STARTED = 1795306811  # 2026-11-22T00:20:11Z


def metric(name, text, *samples):
    """A metric with its help and its samples, each the labels and the value."""
    return (f"# HELP keldoctl_{name} {text}\n# TYPE keldoctl_{name} gauge\n"
            + "".join(f"keldoctl_{name}{labels} {value}\n" for labels, value in samples))


def by_service(values):
    return [(f'{{service="{name}",origin="{"core" if name in CORE else "started"}"}}', value)
            for name, value in values.items()]


def metrics(up, known, stopped, dependencies, *, upgrade=0):
    """The metrics of an inspection. `up` and so on are values by service and by dependency."""
    return "".join((
        metric("service_up", "Whether the service is up (1) or down (0).", *by_service(up))
        if up else "",
        metric("service_known", "Whether the state of the service is known (1) or not (0).",
               *by_service(known)),
        metric("service_stopped", "Whether the administrator stopped the service (1) or not (0).",
               *by_service(stopped)),
        metric("dependency_ok",
               "Whether the inspection could use what it depends on (1) or not (0).",
               *((f'{{dependency="{name}"}}', value) for name, value in dependencies.items())),
        metric("upgrade_in_progress", "Whether the panel is being upgraded (1), in which case no"
               " service is checked, or not (0).", ("", upgrade)),
        metric("check_duration_seconds", "How long the inspection took.", ("", "0.412")),
        metric("run_timestamp_seconds", "When the inspection began, in seconds since 1970.",
               ("", STARTED))))


class PrometheusTest(ViewTestCase):
    VIEW = "prometheus"

    def test_recorded_inspections_have_their_metrics(self):
        each = (*CORE, "redis")
        ones, zeros = dict.fromkeys(each, 1), dict.fromkeys(each, 0)
        usable = dict.fromkeys(DEPENDENCIES, 1)
        for name, text in (
                ("all_well", metrics(ones, ones, zeros, usable)),
                ("mixed", metrics({"mysql": 1, "keldo": 1, "smtp": 1, "web": 0, "redis": 1},
                                  ones | {"dns": 0}, zeros | {"mail": 1}, usable)),
                ("disk_full", metrics({"mysql": 1}, zeros | {"mysql": 1}, zeros,
                                      dict.fromkeys(DEPENDENCIES[:5], 1) | {"control_files": 0})),
                ("upgrade", metrics({}, zeros, zeros, dict.fromkeys(DEPENDENCIES[:5], 1),
                                    upgrade=1)),
                ("repair_failed", metrics(ones | {"web": 0}, ones, zeros, usable) + metric(
                    "action_succeeded",
                    "Whether an action that was carried out succeeded (1) or failed (0).",
                    ('{id="restart-service:dns"}', 1), ('{id="restart-service:web"}', 0)))):
            with self.subTest(name):
                self.assertEqual(self.show(inspected(name)), text)

    def test_a_dependency_that_is_missing_is_not_ok(self):
        self.assertIn('keldoctl_dependency_ok{dependency="monitor"} 0\n', self.show(
            inspection(dependencies=[("monitor", "missing", "")])))

    def test_without_services_no_metric_of_services_is_declared(self):
        self.assertNotIn("keldoctl_service", self.show(inspection()))

    def test_the_time_of_the_run_is_in_seconds_since_1970(self):
        for started in ("1970-01-01T00:00:00Z", "2000-02-29T23:59:59Z", "2026-12-31T12:00:00Z",
                        "2027-01-01T00:00:00Z", "2028-03-01T00:00:01Z", "2040-02-29T23:59:59Z",
                        "2100-02-28T23:59:59Z", "2100-03-01T00:00:00Z"):
            with self.subTest(started):
                seconds = datetime.datetime.fromisoformat(started[:-1] + "+00:00").timestamp()
                self.assertIn(f"keldoctl_run_timestamp_seconds {seconds:.0f}\n",
                              self.show(inspection(started=started)))

    def test_labels_are_escaped(self):
        for name, label in (("a\\b", r"a\\b"), ('a"b', r"a\"b"), ("a\nb", r"a\nb"),
                            ('\\"\n\\n', r'\\\"\n\\n'), ("{a=b}#,", "{a=b}#,")):
            with self.subTest(name):
                self.assertIn(f'keldoctl_service_up{{service="{label}",origin="core"}} 1\n',
                              self.show(inspection([service(name, "up")])))


if __name__ == "__main__":
    unittest.main()
