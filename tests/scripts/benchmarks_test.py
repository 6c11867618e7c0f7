"""The ratios are those of the medians, a ratio that grew by more than a quarter is found, and the page stays whole around its tables."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts" / "benchmarks"))

import calls  # noqa: E402
import measuring  # noqa: E402
import plot  # noqa: E402
import ratios  # noqa: E402
import report  # noqa: E402
import rows  # noqa: E402
import sizes  # noqa: E402


def repetition(name, time, unit="us", **figures):
    entry = {"name": name, "family_index": 0, "run_type": "iteration", "real_time": time, "time_unit": unit}
    return entry | figures


def output(*entries):
    return {"benchmarks": list(entries)}


ROW = rows.Row(
    "work",
    "some work",
    {"limit": "the least", "rival": "another"},
    goals={"limit": 1.5, "large/limit": 1.1},
    figures={"bytes": "B"},
    figure_goals={"bytes": 100},
)


class MediansTest(unittest.TestCase):
    def test_a_ratio_is_that_of_the_medians(self):
        times = {"harvelstone": [9, 3, 4], "limit": [2, 1, 90]}
        entries = [repetition(f"work/{side}/manual_time", time) for side, all_times in times.items() for time in all_times]
        self.assertEqual(measuring.medians(output(*entries)).ratios(), {"limit": 2.0})

    def test_units_are_brought_together(self):
        entries = [repetition("work/harvelstone/manual_time", 3, "ms"), repetition("work/limit/manual_time", 1500, "us")]
        self.assertEqual(measuring.medians(output(*entries)).ratios(), {"limit": 2.0})

    def test_each_case_is_compared_with_its_own_limit(self):
        entries = [
            repetition("work/small/harvelstone/iterations:1/manual_time", 2),
            repetition("work/small/limit/iterations:1/manual_time", 1),
            repetition("work/large/harvelstone/iterations:1/manual_time", 30),
            repetition("work/large/limit/iterations:1/manual_time", 10),
        ]
        self.assertEqual(measuring.medians(output(*entries)).ratios(), {"small/limit": 2.0, "large/limit": 3.0})

    def test_cases_stand_in_the_order_of_their_registration(self):
        entries = [repetition(f"work/{name}/limit/manual_time", 1, family_index=index) for index, name in ((2, "c"), (0, "a"), (1, "b"))]
        self.assertEqual(list(measuring.medians(output(*entries)).cases), ["a", "b", "c"])

    def test_aggregates_of_the_program_are_no_repetitions(self):
        mean = repetition("work/limit/manual_time_mean", 100) | {"run_type": "aggregate"}
        entries = [repetition("work/harvelstone/manual_time", 2), repetition("work/limit/manual_time", 1), mean]
        self.assertEqual(measuring.medians(output(*entries)).ratios(), {"limit": 2.0})

    def test_figures_are_kept_with_their_medians(self):
        entries = [repetition("work/harvelstone/manual_time", 1, bytes=size, iterations=5) for size in (10, 30, 20)]
        self.assertEqual(measuring.medians(output(*entries)).cases[""]["harvelstone"].figures, {"bytes": 20})

    def test_a_side_that_failed_fails_the_run(self):
        failed = repetition("work/limit/manual_time", 0) | {"error_occurred": True, "error_message": "no disk"}
        with self.assertRaisesRegex(measuring.Failed, "no disk"):
            measuring.medians(output(failed))


class WorseTest(unittest.TestCase):
    def test_a_quarter_worse_is_tolerated_and_more_is_not(self):
        stored = {"work/limit": 2.0, "work/rival": 0.4}
        self.assertEqual(ratios.worse(stored, {"work/limit": 2.5, "work/rival": 0.5}), [])
        found = ratios.worse(stored, {"work/limit": 2.51, "work/rival": 0.1})
        self.assertEqual(len(found), 1)
        self.assertIn("work/limit: 2.51", found[0])

    def test_a_ratio_that_is_missing_is_found(self):
        self.assertIn("was not measured", ratios.worse({"work/limit": 2.0}, {})[0])

    def test_figures_of_the_library_with_a_goal_are_stored_beside_the_ratios(self):
        entries = [
            repetition("work/small/harvelstone/manual_time", 3, bytes=80, others=7),
            repetition("work/small/limit/manual_time", 2, bytes=9),
        ]
        flat = ratios.flat([(ROW, measuring.medians(output(*entries)))])
        self.assertEqual(flat, {"work/small/limit": 1.5, "work/small/bytes": 80})


class ReportTest(unittest.TestCase):
    measured = measuring.medians(
        output(
            repetition("work/small/harvelstone/manual_time", 3, bytes=150),
            repetition("work/small/limit/manual_time", 2, bytes=120),
            repetition("work/large/harvelstone/manual_time", 3),
            repetition("work/large/limit/manual_time", 2),
        )
    )

    def test_the_goal_of_a_case_wins_over_that_of_its_side(self):
        self.assertEqual(
            list(report.row_lines(ROW, self.measured)),
            [
                "work: some work",
                "  small 1.50 x limit (goal 1.5, reached)",
                "  large 1.50 x limit (goal 1.1, missed)",
                "  small bytes: 150 B (goal 100, missed)",
                "  small limit bytes: 120 B",
            ],
        )

    def test_the_page_keeps_what_stands_around_the_tables(self):
        page = f"head\n{report.BEGIN}\nold\n{report.END}\ntail\n"
        once = report.with_measured_part(page, "new")
        self.assertTrue(once.startswith("head\n") and once.endswith("\ntail\n"))
        self.assertNotIn("old", once)
        self.assertEqual(report.with_measured_part(once, "new"), once)

    def test_the_plot_has_a_bar_for_each_ratio_and_a_mark_for_each_goal(self):
        picture = plot.picture(report.bars([(ROW, self.measured)]))
        self.assertEqual(picture.count('<rect class="reached"'), 1)
        self.assertEqual(picture.count('<rect class="missed"'), 1)
        self.assertEqual(picture.count('<line class="goal"'), 2)


class CallsTest(unittest.TestCase):
    SUMMARY = """% time     seconds  usecs/call     calls    errors syscall
------ ----------- ----------- --------- --------- ----------------
 90.00    0.000900          45        {writes}           write
 10.00    0.000100           5        {opens}         3 openat
------ ----------- ----------- --------- --------- ----------------
100.00    0.001000          25        99         3 total
"""

    def test_what_two_runs_differ_by_is_what_each_piece_of_work_calls(self):
        fewer = calls.parse(self.SUMMARY.format(writes=12, opens=31))
        more = calls.parse(self.SUMMARY.format(writes=112, opens=32))
        self.assertEqual(calls.each(fewer, more, 50), {"write": 2})


class SizesTest(unittest.TestCase):
    def test_only_sections_that_are_loaded_count(self):
        listing = "lib.so  :\nsection  size  addr\n.text  2048  4096\n.comment  31  0\nTotal  2079\n"
        self.assertEqual(sizes.sections(listing), {".text": 2048})


if __name__ == "__main__":
    unittest.main()
