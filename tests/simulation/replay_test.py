"""A seed that fails can be looked into only if it does the same again."""
import os
import subprocess
import unittest


def trace(seed, **environment):
    """All that happens in the lives of a seed, without the last line, which says how long they took."""
    ended = subprocess.run([os.environ["HARVELSTONE_SIMULATE"], "--seeds", "1", "--from", str(seed), "--trace", "--each"],
                           env=dict(os.environ, **environment), capture_output=True, timeout=60, check=True)
    return ended.stderr, ended.stdout.splitlines()[:-1]


class ReplayTest(unittest.TestCase):
    """Two seeds in which threads overlap, one of them with a disk that fails."""

    def test_a_seed_leaves_the_same_trace_each_time(self):
        traces = set()
        for seed in OVERLAPPING_SEEDS:
            with self.subTest(seed=seed):
                first, again = trace(seed), trace(seed, SOMETHING_ELSE="x" * 1000)
                self.assertGreater(first[0].count(b" -> "), 50, "threads take turns")
                self.assertTrue(first == again, "the second run of the seed differs")
                traces.add(first[0])
        self.assertEqual(len(traces), len(OVERLAPPING_SEEDS), "each seed has a trace of its own")


OVERLAPPING_SEEDS = (3, 10)

if __name__ == "__main__":
    unittest.main()
