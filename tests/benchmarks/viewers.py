"""What the report of live viewers makes of figures that are made up here."""

import unittest

from report import BENCHMARKS, Report

GOALS = "what"
FLOOR = "CPU an update to the floor"  # at most 1.4 with 64 viewers, 1.5 with 256


class Viewers(Report):
    program = BENCHMARKS / "viewers/report.py"

    def test_a_goal_is_met_up_to_its_limit_and_missed_above(self):
        for viewers, gateway in ((64, 1400), (256, 1510)):
            self.measure("frames", "cpu", 1000, subscribers=viewers)
            self.measure("gateway", "cpu", gateway, subscribers=viewers)
        self.assertEqual(self.row(GOALS, FLOOR, "64"), ["1.4", "1.40 (1.40–1.40)", "met"])
        self.assertEqual(self.row(GOALS, FLOOR, "256"), ["1.5", "1.51 (1.51–1.51)", "missed"])

    def test_a_goal_for_all_numbers_is_judged_at_the_worst(self):
        for viewers, gateway in ((64, 500), (256, 700), (1000, 600)):
            self.measure("nats-server", "cpu", 1000, subscribers=viewers)
            self.measure("gateway", "cpu", gateway, subscribers=viewers)
        self.assertEqual(self.row(GOALS, "CPU an update to nats-server")[0::3], ["256", "missed"])

    def test_memory_is_judged_by_itself(self):
        self.measure("gateway", "idle", 8 * 1024, subscribers=1000, mode="memory")
        self.assertEqual(self.row(GOALS, "memory a viewer, idle, KiB")[2:], ["8.00 (8.00–8.00)", "met"])

    def test_a_gap_is_judged_at_its_median(self):
        self.measure("gateway", "gap", 20e6, 41e6, 60e6, mode="stalled")
        self.assertEqual(self.row(GOALS, "longest gap of a healthy viewer, 20 viewers stalled, ms")[2:],
                         ["41.0 (20.0–60.0)", "missed"])

    def test_what_was_not_measured_is_no_goal(self):
        self.measure("gateway", "cpu", 1000)
        self.assertFalse([line for line in self.report() if line.startswith("| " + FLOOR)])


if __name__ == "__main__":
    unittest.main()
