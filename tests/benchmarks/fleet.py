"""What the report of a fleet makes of figures that are made up here."""

import unittest

from report import BENCHMARKS, Report

GOALS = "what"
HELD = "engine's thread held with 1000 viewers at three gateways, to one subscriber and no gateway"
PUBLISHING = "publishing a message, to the plain client's: 200 devices, 25 a second each"
MEMORY = "its memory at the end, to that at the beginning"
ADDED = "from gateway to gateway, added latency p50, ms"
GAP = "viewer's gap when its device's gateway is killed, s; nothing older is shown"


class Fleet(Report):
    program = BENCHMARKS / "fleet/report.py"

    def test_the_engine_is_compared_with_a_direct_subscriber_of_the_same_round(self):
        self.measure("direct", "held50", 100, 200, subscribers=1)
        self.measure("fleet", "held50", 105, 208, subscribers=1000)
        self.assertEqual(self.row(GOALS, HELD), ["1.05", "1.04 (1.04–1.05)", "met"])

    def test_a_held_engine_misses_the_goal(self):
        self.measure("direct", "held50", 100, subscribers=1)
        self.measure("fleet", "held50", 106, subscribers=1000)
        self.assertEqual(self.row(GOALS, HELD)[-1], "missed")

    def test_publishing_is_compared_with_the_plain_client(self):
        for server, nanoseconds in (("gateway", 26000), ("plain", 20000)):
            self.measure(server, "message", nanoseconds, subscribers=200, load="devhost", mode="many")
        self.assertEqual(self.row(GOALS, PUBLISHING), ["1.2", "1.30 (1.30–1.30)", "missed"])

    def test_memory_is_that_of_the_last_round_to_the_first(self):
        self.measure("publishing", "memory", 80e6, 200e6, 84e6, subscribers=200, load="devhost", mode="rack")
        self.assertEqual(self.row(GOALS, MEMORY)[1:], ["1.05 (1.05–1.05)", "met"])

    def test_a_delay_is_judged_by_itself(self):
        self.measure("fleet", "added50", 0.9e6, 1.1e6, 1.2e6, subscribers=3)
        self.assertEqual(self.row(GOALS, ADDED)[1:], ["1.10 (0.90–1.20)", "missed"])

    def test_a_gap_is_that_of_the_killed_gateway(self):
        for name, seconds in (("the gateway that speaks is killed", 1.6), ("the gateway that speaks is frozen", 9)):
            self.measure(name, "gap", seconds, subscribers=1, load="devhost", mode="gaps")
        self.assertEqual(self.row(GOALS, GAP), ["2", "1.60 (1.60–1.60)", "met"])

    def test_what_was_not_measured_is_no_goal(self):
        self.measure("fleet", "added50", 1, subscribers=3)
        self.assertFalse([line for line in self.report() if line.startswith("| viewer's gap")])


if __name__ == "__main__":
    unittest.main()
