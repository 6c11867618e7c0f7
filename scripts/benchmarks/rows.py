"""What is measured, with what it is compared, and which ratio is aimed at."""

import dataclasses


@dataclasses.dataclass(frozen=True)
class Row:
    """The sides of a row are benchmarks named "row/side" or "row/case/side"; the library's side is "harvelstone"."""

    name: str
    work: str
    sides: dict  # what each other side is
    goals: dict = dataclasses.field(default_factory=dict)  # the highest ratio aimed at, by "side" or "case/side"
    figures: dict = dataclasses.field(default_factory=dict)  # what the library's side counts besides, and its unit
    figure_goals: dict = dataclasses.field(default_factory=dict)  # the highest figure aimed at

    def goal(self, case, side):
        return self.goals.get(f"{case}/{side}", self.goals.get(side))


ROWS = [
    Row(
        "record",
        "one durable record (`setEvent`, 300 bytes)",
        {
            "limit": "open, one write, fdatasync, close of the same bytes",
            "sqlite": "SQLite insert and commit, write-ahead log, synchronous=FULL",
            "leveldb": "LevelDB Put, synced",
        },
        {"limit": 1.15, "sqlite": 0.75},
    ),
    Row(
        "unsynced_record",
        "the same without sync",
        {
            "limit": "open, one write, close of the same bytes",
            "sqlite": "SQLite insert and commit, write-ahead log, synchronous=OFF",
        },
        {"limit": 2.0},
    ),
    Row(
        "drain",
        "draining a queue of 10,000 records",
        {
            "limit": "reading the file and parsing its JSON into the same values",
            "simdjson": "reading the file and parsing its JSON into nothing, with simdjson",
            "sqlite": "SQLite select and delete, without any parsing",
        },
        {"limit": 1.3},
    ),
    Row(
        "visit",
        "a new visit (`createDocument`, full session section)",
        {
            "limit": "two commits (write, fdatasync, rename) and one folder fsync of the same bytes",
            "same_syncs": "the three commits and three folder fsyncs that its order of steps asks for, of the same bytes",
        },
        {"limit": 1.3},
    ),
]
