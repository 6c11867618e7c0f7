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
    repetitions: int = 31

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
    Row(
        "body",
        "building a request body (JSON text, percent-encoding, gzip)",
        {
            "limit": "zlib alone at the same level over the same bytes",
            "curl": "curl_easy_escape and zlib, the JSON text ready",
        },
        {"limit": 1.15},
    ),
    Row(
        "encoding",
        "percent-encoding alone",
        {"curl": "curl_easy_escape"},
        figures={"nanoseconds_a_byte": "ns"},
        figure_goals={"nanoseconds_a_byte": 1.0},
    ),
    Row(
        "level",
        "compressing at level 6, which is the chosen one",
        {f"level_{level}": f"level {level}" for level in range(1, 6)},
        figures={"compressed_bytes": "bytes"},
    ),
    Row(
        "pass",
        "a pass from gate to request (assembly of 100 records, stamping, save, body)",
        {
            "limit": "one map commit with its folder fsync, and zlib, of the same bytes",
            "same_syncs": "the same with a synced write for each of the four queues that are emptied",
        },
        {"limit": 1.3},
    ),
    Row(
        "upload",
        "1,000 uploads over loopback, one after another: the requests alone",
        {
            "limit": "libcurl by hand, one kept connection, the same bodies and server",
            "new_connections": "libcurl by hand with a new connection for each",
        },
        {"limit": 1.3},
    ),
    Row(
        "whole_upload",
        "emptying a list of 1,000 documents: read, encode, gzip, POST, commits, removal",
        {"limit": "the same steps written by hand"},
        {"limit": 1.3},
        repetitions=5,
    ),
    Row(
        "start",
        "start-up (`sharedInstance`) with a list of pending ids",
        {
            "limit": "reading and parsing the same file, and the two commits with one folder fsync",
            "same_syncs": "the same with the three commits and three folder fsyncs of a new document",
        },
        {"limit": 1.3},
    ),
    Row(
        "retirement",
        "retiring expired documents",
        {"limit": "the commits of the list alone, of the same sizes"},
        repetitions=5,
    ),
    Row(
        "retirement_growth",
        "retiring one of 10,000 expired documents",
        {"hundred": "one of 100"},
        {"hundred": 3.0},
        repetitions=5,
    ),
    Row(
        "removal",
        "removing a sent document",
        {"limit": "one listing of the folder with one stat a file, and five unlinks"},
        {"limit": 1.5},
        repetitions=7,
    ),
    Row(
        "memory",
        "memory",
        {},
        figures={"peak_for_a_byte_of_JSON": "bytes", "bytes_left_by_a_visit": "bytes"},
        figure_goals={"peak_for_a_byte_of_JSON": 6.0},
        repetitions=5,
    ),
    Row(
        "stall",
        "how long a call holds its caller up during uploads",
        {},
        figures={"p50": "µs", "p99": "µs", "max": "µs"},
        repetitions=5,
    ),
]
